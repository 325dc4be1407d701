#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

struct RunContext;

// What an order delivered, told beside the log: counts by outcome and by source, the
// documents that were delivered but are empty or not PDFs, and the exit code of a
// command-line order.
struct OrderSummary {
    struct Source {
        QString name; // the office or route, as the user knows it
        int delivered = 0;
        int fromCache = 0;
        int notFound = 0;
    };
    int listed = 0;
    int delivered = 0;
    int fromCache = 0;
    int notFound = 0;  // logged with a failure word, or handed on and never logged
    int cancelled = 0; // numbers of the list that no retriever was given
    QList<Source> sources;
    QStringList suspicious; // delivered files that are empty or no PDF

    // 0 when every number was delivered (or was there already), 1 otherwise.
    int exitCode() const;
    // The lines printed at the end of a command-line order.
    QString text(qint64 elapsedMs, const QString& logPath) const;
};

// The summary of the order that has just run in the context.
OrderSummary summarise_order(RunContext& ctx);

// Whether a result word, of the log or of the front-page report, tells that the document is in
// the folder: delivered by this order, or there already.
bool result_delivered(const QString& result);

// The lines of a download report told apart: how many documents are there, and the numbers
// that are not, in the report's order and without an "FP_" in front, ready to order again.
struct ReportCount {
    int delivered = 0;
    QStringList missing;
};
ReportCount count_report(const QString& reportText);

// Exit codes of a command-line order.
enum OrderExit { AllDelivered = 0, SomeNotFound = 1, CouldNotStart = 2 };
