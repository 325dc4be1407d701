#pragma once

#include <QString>
#include <QStringList>

struct RunContext;

// The equivalents lookup: the company's service lists the documents equivalent to a number,
// one row per document, rows separated by "<br>", each row "description@@number".

// The request: "/desktop_bq/ti.asp?pn=" + the number as typed (trimmed, nothing else).
QString equivalents_url(const QString& prefix, const QString& pn);

struct Equivalents {
    QStringList entries; // "number<TAB>description", in the order of the rows
    QString message;     // the answer itself when it holds no row, for the user to read
};

// Reads an answer: rows without "@@" are skipped. An answer without any "@@" is a message
// of the service, and an empty one is "Error connecting to the server".
Equivalents read_equivalents(const QString& answer);

// The ticked entries as the order list takes them: each entry up to its first tab, and a
// CR LF behind each.
QString ticked_numbers(const QStringList& ticked);

// The number list after a paste: a list that isn't empty loses up to two line ends at its
// end (tested LF, CR, LF, CR in turn), then gets one CR LF and the numbers; an empty list
// becomes the numbers.
QString paste_into(const QString& text1, const QString& numbers);

// Asks the service on Inet1 (300 seconds at most). The answer as text, "" when none came.
QString equivalents_lookup(RunContext& ctx, const QString& pn);
