#pragma once

#include <QString>

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

// The EP padding of the site: "EP" followed by the last 7 characters of "000000000" and
// the rest of the number, kind code and all.
QString ep_site_padding(const QString& number);
