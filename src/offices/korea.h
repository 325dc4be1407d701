#pragma once

#include <QString>

struct RunContext;

// Korean documents from KIPRIS. KIPRIS works by application number: the company's record of
// the publication gives it, it is put into the form KIPRIS uses, confirmed on the KIPRIS
// biblio page and used for the PDF address. The retrieval chain ends with this call. The
// number keeps its case and hyphens here: it names the file and the log line as it came.
void kipris_download(RunContext& ctx, QString& number, const QString& reference);

// The readers and number rules, apart from the fetching.

// The number the company's record is asked for: trimmed, upper-cased, "B2" and "B1" made "B",
// blanks and commas removed ("KR100703201B1" is asked as "KR100703201B").
QString kipris_lookup_number(const QString& number);

// What the company's record tells.
struct KiprisRecord {
    bool found = false;   // it holds an original B211EP field
    QString application;  // that field's text, blanks and line ends removed
    bool utility = false; // the kind (B131EP) ends in "Y" or "U": a utility model
};
KiprisRecord read_kipris_record(const QString& answer);

// The application number as KIPRIS wants it: "20" (utility model) or "10" in front, and a
// code that the record already carried taken off again ("101020070057977" gives
// "1020070057977").
QString kipris_application(const KiprisRecord& record);

// Whether the biblio page links to the full text.
bool kipris_has_full_text(const QString& biblioPage);

// The path and query of the biblio page and of the PDF, below "/engpat/" on the KIPRIS host.
QString kipris_biblio_path(const QString& application);
QString kipris_document_path(const QString& application);
