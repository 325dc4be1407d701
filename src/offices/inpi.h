#pragma once

#include <QString>

#include <optional>

struct RunContext;

// A French document as one whole PDF from INPI's site: the office's search script is asked
// for the number, and the PDF that its answer links to is fetched. A number the search does
// not find goes on to the retrieval chain.
void inpi_download(RunContext& ctx, QString& number, const QString& reference);

// The readers of INPI's pages, apart from the fetching.

// The search script's path and query for a number: the whole number, prefix and kind code
// included.
QString inpi_search_path(const QString& number);

// The document's path read off the search answer: from the "/brevet/pdf/" marker (found in
// any case, kept in the case it has) up to the next double quote. Nothing when the answer
// has no marker; "" when the link has no closing quote.
std::optional<QString> read_inpi_link(const QString& answer);
