#pragma once

#include <QByteArray>
#include <QString>

struct RunContext;

// A document of the German office's DEPATISnet collection as one whole PDF, through the
// company's image host. With fallback_to_chain set, a document that is not there goes on to
// the retrieval chain; without, a miss leaves no log line (the caller logs its own outcome).
void depatis_download(RunContext& ctx, QString& number, const QString& reference,
                      bool fallback_to_chain);

// The readers of DEPATISnet's number forms and answers, apart from the fetching.

// The office form of a number: upper case, without " ", "/", "-", ",", "\" and "."; a
// two-digit WO year of the 2000s and 2010s made four digits; a WO number shorter than 12
// characters padded with up to two zeros behind its sixth character.
QString depatis_office_form(const QString& number);

// The office form split at its first letter behind the country: the country, the number
// proper and the kind code (which is not sent).
struct DepatisNumber {
    QString country;
    QString proper;
    QString kind;
};
DepatisNumber split_depatis_number(const QString& officeForm);

// The path and query that ask the image host for a number.
QString depatis_path(const QString& number);

// Whether an answer is a document: more than 300 bytes, and no "<HTML>" in its first 300.
bool depatis_answer_is_document(const QByteArray& body);
