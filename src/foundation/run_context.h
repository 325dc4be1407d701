#pragma once

#include "foundation/web_control.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

class Host;
class Shell;

// What the log lines of one retriever told in an order, for the order's summary. A long
// order keeps these counts, not its lines.
struct OutcomeTally {
    QString source; // the retriever's name ("uspto_download", "get_patent", ...)
    int delivered = 0;
    int fromCache = 0;
    int notFound = 0;
};

// The shared run state of an order. Every retriever refers to these by name.
struct RunState {
    bool order_cancelled = false;
    QString order_folder;        // this order's PDF folder, with a trailing "/", or ""
    QString force_uspto = "0";   // "1" if the number must come from the USPTO
    QString bookmark_info;       // bookmark string of the current document
    QString report_text;         // the lines of the download report
    QString report_folder;       // where the report looks for documents
    QString inet_state;          // the last state word of Inet1; nothing reads it
    QString source;              // the retriever at work, innermost first
    QList<OutcomeTally> tallies; // per retriever, in the order they first logged
    QStringList delivered_files; // "<number>.pdf" or ".htm" of each line logged as delivered
    int listed = 0;              // numbers of this order's list (lines of 3 characters or more)
    int dispatched = 0;          // numbers handed to a retriever so far
};

// The retrievers that the routing and the retrieval chain call. The retrieval layer defines
// them; whoever assembles the program (the application, a test fixture) installs them.
struct Retrievers;

// Everything a retriever shares with the others: the run state, the web controls, the host
// window and the shell. One per process.
struct RunContext {
    RunContext(Host& host, Shell& shell);
    ~RunContext();
    RunContext(const RunContext&) = delete;
    RunContext& operator=(const RunContext&) = delete;

    Host& host;
    Shell& shell;
    RunState state;

    WebControl Inet1; // the single web access of all retrievers
    WebSlots Inet2;   // page slots; element 0 also serves the version check
    WebControl Inet3; // the family search, usable during an order

    std::shared_ptr<Retrievers> retrievers;

    // Random draws follow the classic unseeded generator: every process draws the same
    // sequence.
    float Rnd();

    // The status line and its pumping variants.
    void inf(const QString& ee);      // status, then two event pumps
    void infCN(const QString& cninf); // status, then one event pump
    void doEvents(int times = 1);

private:
    uint32_t rndState_ = 0x50000;
};
