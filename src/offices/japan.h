#pragma once

#include <QString>

struct RunContext;

// Japanese documents that Espacenet does not have. The company's lookup script knows where
// the office keeps each PDF and answers with a secure link to it. The retrieval chain calls
// this with the number's kind code put back; a miss is not logged here, since the chain goes
// on to its next source.
void jpo_download(RunContext& ctx, QString& number, const QString& reference);

// The readers, apart from the fetching.

// The document address in a lookup answer: everything from its first "https://" to the end,
// with the proxy prefix put behind every "https://" in it. "" when the answer holds none.
QString jp_document_address(const QString& answer, const QString& prefix);

// A number in Espacenet form written as the Japanese office writes it: number + "@" + kind,
// with the era letter (H up to year 12, else S) and a hyphen for applications and utility
// models ("JP8012345" gives "H08-012345@A"). Kept ready: no retrieval path uses it.
QString espace2jpo(const QString& JPespacenum);
