#pragma once

#include <QString>

struct RunContext;

// Retrievers on the company's own document servers.

// WO documents from the company services server. Leaves PDF folder + number + ".pdf" (and,
// with front-page-only ticked, the "FP_" copy of its first page beside it). Writes nothing
// to the log: the retrieval chain looks for the file and logs.
void wipo_download(RunContext& ctx, QString& number, const QString& reference);

// A complete retriever through the Espacenet site, page by page, with its own log line.
// Kept ready: no route calls it at present.
void bns_download(RunContext& ctx, QString& number, const QString& reference);
