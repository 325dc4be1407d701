#pragma once

#include <QString>

struct RunContext;

// The log: every outcome of an order goes to report_text and to bnslog.csv in the PDFDIR
// folder. The retrievers write through here and nowhere else.

// Appends the outcome of one number to report_text and to bnslog.csv. The three texts are
// cleaned in place: each double quote, CR and LF becomes a blank. A reference holding "!!"
// gives one log record for each non-empty item between them. The file is opened and closed
// for each call, so a crash loses nothing that was logged.
void writelog(RunContext& ctx, QString& patR, QString& RefR, QString& Fr);
// The same for callers that don't need the cleaned texts back.
void writelog_copy(RunContext& ctx, QString patR, QString RefR, QString Fr);

// The report line of a number: the number trimmed, padded and cut to 15 characters and
// upper-cased, a tab, the result word.
QString report_line(const QString& number, const QString& result);

// What a result word tells: a document delivered by this order, one that was there already
// (in the folder or the company's cache), or none.
enum class LoggedAs { Delivered, FromCache, NotFound };
LoggedAs logged_as(const QString& result);

// The path of bnslog.csv for the live settings, its folder created.
QString log_path();
