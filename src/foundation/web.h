#pragma once

#include <QByteArray>
#include <QString>

#include "foundation/registry.h"

struct RunContext;

// What the block at the head of every retriever leaves to the rest of it.
struct Preamble {
    QString pdf_folder;  // PDFDIR with "/", plus the sanitised reference and "/" if any
    QString temp_prefix; // TEMPDIR with "/", followed by job_id: a file-name prefix
    QString server;      // EPOSERVER
    QString prefix;      // PROXYUSERID, put between "http://" and a host
    QString result;      // the result word, empty
    QString job_id;
    QString tempdir; // TEMPDIR with "/"
    QString pdfdir;  // PDFDIR with "/"
};

// A web control's protocol, time-out and access type (ACT, with PROXY for the named proxy)
// as the settings under accessKey tell. An ACT of any other value leaves the access type.
class WebControl;
void apply_access_settings(WebControl& inet, int requestTimeout,
                           const QString& accessKey = settings_key);

// The first steps of the block: the web control's protocol, time-out and access type from
// the settings; the folders read, created and given their "/"; the server and the prefix.
// Nothing else: no order folder, no job id, no title. accessKey is the settings key that
// ACT, PROXY and EPOSERVER are read from.
Preamble preamble_settings(RunContext& ctx, int requestTimeout,
                           const QString& accessKey = settings_key);

// The steps of the block that some retrievers leave out or do otherwise.
struct PreambleSteps {
    bool rewriteNumber = true;        // the number upper-cased, every "-" deleted
    bool title = true;                // number + source label as the window title, three pumps
    bool status = true;               // number + " Checking if patent exists"
    QString accessKey = settings_key; // where ACT, PROXY and EPOSERVER are read
};

// The whole block: the settings as above, then the order folder (order_folder is set),
// job_id and the temp prefix, the number upper-cased without "-", the window title
// (number + source label, three event pumps) and the status number + " Checking if patent
// exists".
Preamble fetch_preamble(RunContext& ctx, QString& number, const QString& reference,
                        int requestTimeout, const QString& sourceLabel,
                        const PreambleSteps& steps = {});

// The folder name made of a reference: "/" and "\" deleted, " " made "_", then ".", ",",
// "@" and ":" deleted; beside these, the characters that never stand in a name
// (name_safe), and at most 255 bytes.
QString order_folder_name(const QString& reference);

// A fresh job id: the date-and-time text, the seconds since midnight and a random number
// from 1 to 1000, with every "/", "\", " ", ".", ",", "@" and ":" deleted.
QString make_job_id(RunContext& ctx);

// The time stamp that makes each request's address differ: "&PROXY=" + seconds text.
QString time_stamp();

// Text encoded for a query string: letters and digits stay, a blank becomes "+", anything
// else "%" + two hexadecimal digits.
QString URLEncode(const QString& Text);
// n as two upper-case hexadecimal digits (or more when n is above 255).
QString Hex2(int n);
// Waits HowLong seconds, pumping events.
void Delay(RunContext& ctx, double HowLong);
// Drains Inet1's finished answer in chunks of 256, as text.
QByteArray get_all_chunks(RunContext& ctx);
