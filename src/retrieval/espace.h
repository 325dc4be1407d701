#pragma once

#include <QString>

#include <optional>

struct RunContext;

// The Espacenet-route retrievers of the retrieval chain. Each is given a number, the full
// path of the PDF to make and the temp prefix of the chain; each returns the target path
// when a finished PDF stands there, else "". None of them writes to the log. They work on
// the Inet1 that the chain has set up, with a time-out of 60 seconds.

// Whole documents (or their first page when front-page-only is ticked), page by page from
// the company lookup server. Leaves the server's bookmark string in bookmark_info.
QString espace_bns_download(RunContext& ctx, const QString& number, const QString& target,
                            const QString& tempPrefix);

// The front page of an EP document as a ready PDF from the company's publication server.
QString espace_frontpage_download(RunContext& ctx, const QString& number, const QString& target,
                                  const QString& tempPrefix);

// French granted patents, joined from the pieces that the company lookup server lists.
QString fr_espace_download(RunContext& ctx, const QString& number, const QString& target,
                           const QString& tempPrefix);

// The Espacenet site. Its availability request is kept unsent, so it finds nothing.
QString espace_site_download(RunContext& ctx, const QString& number, const QString& target,
                             const QString& tempPrefix);

// What espace_site_download does with an availability page of the site: the bookmarks of
// its section list, the page count of its viewer script, then the pages from the site.
QString espace_site_read(RunContext& ctx, const QString& number, const QString& target,
                         const QString& tempPrefix, const QString& page);

// The number rules of these routes.

// The WO years rule: for a number that starts with "WO", "WO04" becomes "WO2004", "WO05"
// "WO2005", and so on up to lastYear (two digits, 9 to 14), each rule applied to the result
// of the one before. Other numbers come back unchanged.
QString wo_years(const QString& number, int lastYear = 14);

// The EP padding of the site: "EP" followed by the last 7 characters of "000000000" and
// the rest of the number, kind code and all.
QString ep_site_padding(const QString& number);

// The readers of the replies, apart from the fetching.

// A bnsinfo.asp reply: fields separated by "@", with the marker "@@@@" behind them.
struct BnsInfo {
    QString id;        // field 2
    int pages = 0;     // field 3, as the classic Val reads it
    QString bookmarks; // field 4, one leading comma dropped
};
// Nothing when the reply lacks the marker: the document isn't held.
std::optional<BnsInfo> read_bnsinfo(const QString& reply);

// An availability page of the site: the section list gives the bookmarks ("i:title" for
// each option with a "-"), the viewer script the page count (behind `parseInt("`).
struct SitePage {
    QString bookmarks;
    int pages = 0;
};
// Nothing when the page has no "option value".
std::optional<SitePage> read_site_page(const QString& page);
