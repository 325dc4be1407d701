#pragma once

#include "foundation/web_control.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <functional>
#include <memory>

class Host;
class Shell;

// The shared run state of an order. Every retriever refers to these by name.
struct RunState {
    bool order_cancelled = false;
    QString order_folder;      // this order's PDF folder, with a trailing "/", or ""
    QString force_uspto = "0"; // "1" if the number must come from the USPTO
    QString bookmark_info;     // bookmark string of the current document
    QString report_text;       // the lines of the download report
    QString report_folder;     // where the report looks for documents
    QString inet_state;        // the last state word of Inet1; nothing reads it
};

struct RunContext;

// A retriever takes the number by reference (it may rewrite it in place) and the reference.
using Retriever = std::function<void(RunContext&, QString& number, const QString& reference)>;
using DepatisRetriever =
    std::function<void(RunContext&, QString& number, const QString& reference, bool fallback)>;
// Certificates of correction: the path of a PDF of the pages beyond lastPage, or "".
using CertificateFetcher = std::function<QString(RunContext&, const QString& number, int lastPage)>;

// The retrievers that the routing and the retrieval chain call. They start out as the
// program's own; tests may put recorders in their place.
struct Retrievers {
    Retriever get_patent;
    Retriever australia_download;
    Retriever uspto_download;
    Retriever cnpto_download;
    Retriever epoline_download;
    Retriever inpi_download;
    Retriever jpo_translation_download;
    Retriever jpo_download;
    Retriever canada_download;
    Retriever kipris_download;
    Retriever rupto_download;
    Retriever spain_download;
    Retriever wipo_download;
    DepatisRetriever depatis_download;
    CertificateFetcher uspto_cartificate;
};

// Run state of the page loops, shared by pages_parallel and pp_indexc.
struct PageLoopState {
    static constexpr int kSlots = 101; // slot 0 is never used: batches of up to 100
    int page_total = 0;
    QString page_name;
    bool pages_failed = false;
    int pages_done = 0;
    int batch_first = 0;
    std::array<bool, kSlots> slot_done{};
    std::array<QString, kSlots> slot_file{};
    std::array<int, kSlots> slot_retries{};
};

// Everything a retriever shares with the others: the run state, the web controls, the
// host window and the shell. One per process.
struct RunContext {
    RunContext(Host& host, Shell& shell);
    ~RunContext();

    Host& host;
    Shell& shell;
    RunState state;
    Retrievers retrievers;
    PageLoopState pages;

    WebControl Inet1;
    WebControl Inet3;
    // The page slots. Element 0 exists from the start; the others are loaded for a request
    // and unloaded when their page is finished.
    WebControl& Inet2(int index);
    bool Inet2Loaded(int index) const;
    void LoadInet2(int index);
    void UnloadInet2(int index);

    // Seconds-since-midnight texts, dates and random draws go through here so that tests
    // can fix them. Random draws follow the classic unseeded generator: every process draws
    // the same sequence.
    float Rnd();

    // The status line and its pumping variants.
    void inf(const QString& ee);      // status, then two event pumps
    void infCN(const QString& cninf); // status, then one event pump
    void doEvents(int times = 1);
    // Pumps events while page requests are in flight, sleeping until one of them ends.
    void waitForWebEvents();

    // Bytes of the current page, shared by the retrievers that keep a page in the window.
    QByteArray page_buffer;

private:
    std::array<std::unique_ptr<WebControl>, PageLoopState::kSlots> inet2_;
    uint32_t rndState_ = 0x50000;
};

// Fills the retriever table with the program's own retrievers.
void install_default_retrievers(Retrievers& r);
