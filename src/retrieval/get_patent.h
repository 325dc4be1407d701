#pragma once

#include <QString>
#include <QStringList>

struct RunContext;

// The default route for every number that no prefix claims, and the fallback of the
// retrievers that give up: tries the sources one after the other, cheapest and likeliest
// first, until a PDF named after the number stands in the order's folder, and ends with
// one log line (or leaves that line to the retriever that ended the chain). The number is
// rewritten in place to the form under which its file was stored.
void get_patent(RunContext& ctx, QString& number, const QString& reference);

// The availability check on the Espacenet national server, with the page-wise download
// behind it. It is switched off: then nothing is requested, the check always ends in "Not
// found" with no viewer link, and the page-wise branch is never entered.
bool& availability_check_enabled();

// The readers of the national server's pages, apart from the fetching.

// The viewer links of a navigation page: each "/espacenet/bnsviewer" up to the next double
// quote, at most 20.
QStringList read_viewer_links(const QString& page);

// Page one of the viewer: its section buttons give the bookmark string ("page:title,..."),
// "TOTPG=" the page count. count is left as it was when the page tells none.
struct ViewerPage {
    QString bookmarks;
    int count = 0;
};
ViewerPage read_viewer_page(const QString& page, int countIfUntold);
