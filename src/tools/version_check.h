#pragma once

#include <QString>
#include <QStringList>

struct RunContext;
class Shell;

// This program's version, from the one place in the build that sets it. Only the revision
// is compared with the server's.
inline constexpr int kVersionMajor = BQ_VERSION_MAJOR;
inline constexpr int kVersionMinor = BQ_VERSION_MINOR;
inline constexpr int kRevision = BQ_VERSION_PATCH;

// The caption of Lversion: "Version:3.0 Build:372 (10/Oct/14)".
QString version_caption();

// The version file on the services host: "/bqdver.txt".
QString version_url(const QString& prefix);

// What an answer of the version file means. An empty answer, or one longer than 20
// characters (an error page), is ignored. Otherwise the third "."-field is compared as a
// whole number with the revision; an answer whose third field is missing or not a number
// counts as newer, so the reminder shows.
enum class VersionReply { Ignored, Newer, NotNewer };
VersionReply read_version_reply(const QString& answer, int revision = kRevision);

// The check at the end of start-up: asks on element 0 of Inet2 (10 seconds at most), tells
// of a newer version in a message box, then sets the desktop title. Installs nothing.
void check_version(RunContext& ctx);

// Starts the updater bqup5 from the program's folder, with the program's own path as its one
// argument. Whether it started does not matter: the program ends all the same.
void start_updater(Shell& shell, const QString& executable);
