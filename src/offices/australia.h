#pragma once

#include <QString>

struct RunContext;

// An Australian document as one whole PDF from IP Australia's search pages. With the fp box
// ticked the whole document is stored under the "FP_" name, and number comes back with
// "FP_" in front (unless the search answered nothing).
void australia_download(RunContext& ctx, QString& number, const QString& reference);

// The search for a number: by application number ("A" behind the country code, or more
// than 8 characters left) or by publication number.
struct AustraliaSearch {
    QString plain; // the number without country code and "A", trimmed
    bool application = false;
    QString pathAndQuery; // the simple search on IpAustraliaHost
};
AustraliaSearch australia_search(const QString& number);

// The search result page: a link ending in ">Full Document" means the document is there.
struct AustraliaResult {
    bool found = false;
    QString link;  // from the page's first "pdf/" up to the link's closing quote; "" if none
    QString pages; // what stands between "[" and "]" behind "Full Document</A>"
};
AustraliaResult read_australia_result(const QString& page);

// The document's address on IpAustraliaHost for a link of the result page.
QString australia_document_path(const QString& link);
