#pragma once

#include <QString>

#include <optional>

struct RunContext;

// A Spanish document as one whole PDF from the OEPM, found through the company's lookup
// script. With the fp box ticked the whole document is stored under the "FP_" name, and
// number comes back with "FP_" in front.
void spain_download(RunContext& ctx, QString& number, const QString& reference);

// The lookup script's address for a number, sent as it stands, kind code and all.
QString spain_lookup_path(const QString& number);

// The document's path at the office in the lookup answer: from the first "/pdf/" up to the
// next double quote. Nothing when the answer holds no "/pdf/" (not found); "" when the link
// has no closing quote (no usable address).
std::optional<QString> spain_document_path(const QString& answer);
