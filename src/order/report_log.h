#pragma once

#include <QString>

class Host;
class Shell;

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
