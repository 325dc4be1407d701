#pragma once

#include <QString>

struct RunContext;

// An English machine translation as one HTML file: PDF folder + number + ".htm". The
// company's server does the whole translation while the request waits, and decides by the
// number which office's document it translates ("MTJP...", "JP...MT", "MTCN..."). One log
// line, found or not.
void jpo_translation_download(RunContext& ctx, QString& number, const QString& reference);

// The readers, apart from the fetching.

// The number the server is asked for: trimmed, upper-cased, every "MT" removed.
QString translation_number(const QString& number);

// Whether an answer is a translation: 75 characters or more, with "Patent " in it.
bool translation_found(const QString& answer);

// A raw translation page made fit to show: links made inert, the text before the first
// "<HR>" (or before the publication header) dropped, the tail from the closing note or the
// first script cut off, brackets made bold. Kept ready: nothing calls it.
QString clean_translation_html(const QString& page);
