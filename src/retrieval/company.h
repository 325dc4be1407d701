#pragma once

#include <QString>
#include <QStringList>

#include <optional>

struct RunContext;

// Retrievers on the company's own document servers.

// WO documents from the company services server. Leaves PDF folder + number + ".pdf" (and,
// with front-page-only ticked, the "FP_" copy of its first page beside it). Writes nothing
// to the log: the retrieval chain looks for the file and logs.
void wipo_download(RunContext& ctx, QString& number, const QString& reference);

// A complete retriever through the Espacenet site, page by page, with its own log line.
// Kept ready: no route calls it at present.
void bns_download(RunContext& ctx, QString& number, const QString& reference);

// The readers of the replies, apart from the fetching.

// A wipop2.asp reply: valid when it holds "PAGES=" in any case and no "<HTML>". Its lines
// are separated by CR LF; line 0 is a header and the last line is never fetched, so the
// document addresses are the lines between. Nothing for an invalid reply.
std::optional<QStringList> read_wipop2(const QString& reply);

// The site's lookup number and kind code of a number, from the end of the number.
struct SiteLookup {
    QString lookup;
    QString kind;
};
SiteLookup site_lookup(const QString& number);

// The site's text page of a document: the document id ("&DOC=..." up to the next quote)
// that stands last before "<nobr>" + lookup + " (" + kind + ")</nobr>". Nothing when that
// marker is missing; "" when no id stands before it.
std::optional<QString> read_textdoc(const QString& reply, const QString& lookup,
                                    const QString& kind);

// The page count of the site's whole-document PDF, read from the text behind its first
// "/Kids": behind "/Count", up to the next "/". Nothing when the PDF has no "/Kids" or holds
// "<HTML>".
std::optional<int> read_pdfdoc_count(const QString& pdfText);
