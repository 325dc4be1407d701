#pragma once

#include <QString>

struct RunContext;
class Host;
class Shell;

// Appends the outcome of one number to report_text and to bnslog.csv in the PDFDIR folder.
// The three texts are cleaned in place: each double quote, CR and LF becomes a blank.
// A reference holding "!!" gives one log record for each non-empty item between them.
void writelog(RunContext& ctx, QString& patR, QString& RefR, QString& Fr);
// The same for callers that don't need the cleaned texts back.
void writelog_copy(RunContext& ctx, QString patR, QString RefR, QString Fr);

// The report line of a number: the number trimmed, padded and cut to 15 characters and
// upper-cased, a tab, the result word.
QString report_line(const QString& number, const QString& result);

// The file behind a line of the report: the line up to and including its first blank,
// trimmed, in the report folder, with the given ending (".pdf" or ".htm"). A line that
// begins "FW" loses every blank and tab of the path.
QString report_line_file(const QString& line, const QString& reportFolder,
                         const QString& ending = QStringLiteral(".pdf"));

// Double click on a report line: opens the PDF, or else the .htm of the same name.
void open_report_line(Shell& shell, const QString& line, const QString& reportFolder);

// "View log": copies bnslog.csv of the PDFDIR of the old settings key to brightq.csv and
// opens the copy; "No log file found" when there is no log.
void vlog(Host& host, Shell& shell);

// The path of bnslog.csv for the live settings, its folder created.
QString log_path();

// Trims blanks (and only blanks) at both ends, as the program's Trim does.
QString vb_trim(const QString& s);
