#pragma once

#include <QDateTime>
#include <QString>

class Shell;
class Host;

// Small helpers of the program's General module and of its main window.

// Creates that one folder; an existing folder or a failure is ignored. Parents are not made.
void CAddFolder(const QString& cfolderName);
// The same for rpath (ending in "/") and bfolderName joined.
void AddNewFolder(const QString& rpath, const QString& bfolderName);
// Binary copy. Reports "PDF File Not found" or "PDF file Copy Error!" through the host.
void CopyFileBinary(Host& host, const QString& source, const QString& destination);
// Opens a file, mail link or URL with its application; reports a failure through the host.
void ExecuteLink(Host& host, Shell& shell, const QString& target);
// There is no Windows folder here: always "".
QString GetWinDir();

// The folder where the program keeps uspto.lib, cnpto.lib and help.htm:
// $XDG_DATA_HOME/brightquill (default ~/.local/share/brightquill), created when asked for.
// Ends in "/".
QString application_folder();

// A folder text with a trailing "/" added if there is none.
QString with_slash(const QString& folder);

// The seconds since midnight, as the timer gives them: a whole number of seconds and up to
// two decimals, without trailing zeros ("85697.12", "3600.5", "42").
QString timer_text();

// The present date and time in the system's general text form.
QString now_text();
// Fixes the present moment that now_text() and the timer texts tell (an invalid value
// lets the clock run again). For tests that compare whole files.
void set_fixed_now(const QDateTime& moment);

// Classic string helpers (1-based Mid) that keep the retrievers' rules readable.
QString Left(const QString& s, int n);
QString Right(const QString& s, int n);
QString Mid(const QString& s, int start1, int length = -1); // 1-based start
// Trims blanks (and only blanks) at both ends, as the program's Trim does.
QString vb_trim(const QString& s);
// A number as the classic Val reads it: blanks, tabs and line feeds are skipped, then an
// optional sign and the leading digits; anything else ends it, and no digits read as 0. A
// value beyond the range of a page count reads as 0, as the failed assignment leaves the
// variable at its start value.
int vb_val(const QString& text);

// The text without the characters that never reach a folder or file name: control characters
// (tab, CR, LF and NUL among them) and those that other systems forbid in names ("*?<>|).
QString name_safe(const QString& text);

// Numbers a file as a byte string, one character per byte.
bool file_exists(const QString& path);
qint64 file_length(const QString& path);
QByteArray read_file(const QString& path);
bool write_file(const QString& path, const QByteArray& bytes);
void delete_file(const QString& path); // "Kill": ignores a missing file
