#pragma once

#include <QString>

// What the settings dialog shows and writes. The dialog itself only shows and asks.
struct DialogValues {
    QString tempdir;        // TEMPDIR, as stored
    QString pdfdir;         // PDFDIR, as stored
    QString eposerver;      // EPOSERVER, as stored
    QString proxyuserid;    // PROXYUSERID, trimmed
    QString proxy;          // PROXY, shown only when ACT is "3"
    bool parallel = false;  // PARPAGEDESKTOP begins "1"
    bool bookmarks = false; // ADDBOOKMARKS begins "1"
    int act = 0;            // the chosen option: 1 default, 2 direct, 3 proxy, 0 none
};

DialogValues load_dialog_values();
// OK: creates the live key, writes every value, makes the two folders (one level each).
void save_dialog_values(const DialogValues& v);
// Creates one folder level; an existing folder or a failure is no error.
void MakeFolder(const QString& path);
// The help page of the settings dialog: "http://" + CompanyWebHost + "/help/".
QString dialog_help_url();
