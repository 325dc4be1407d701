#pragma once

#include "foundation/run_context.h"

#include <QHash>
#include <QString>

#include <functional>

// A retriever takes the number by reference (it may rewrite it in place) and the reference.
using Retriever = std::function<void(RunContext&, QString& number, const QString& reference)>;
// DEPATISnet's retriever: with fallback_to_chain set, a miss goes on to the retrieval chain.
using DepatisRetriever = std::function<void(RunContext&, QString& number, const QString& reference,
                                            bool fallback_to_chain)>;
// Certificates of correction: the path of a PDF of the pages beyond lastPage, or "".
using CertificateFetcher = std::function<QString(RunContext&, const QString& number, int lastPage)>;

// The retrievers one run context calls, installed by whoever assembles the program (see
// install_retrievers). A test may put a recorder in the place of any of them.
struct Retrievers {
    // By their names: "get_patent", "wipo_download" and the retriever of every office of
    // the office table ("canada_download", "uspto_download", ...).
    QHash<QString, Retriever> byName;
    DepatisRetriever depatis_download;
    CertificateFetcher uspto_cartificate;
};

// The retrievers installed in a context; an empty table if none were.
Retrievers& retrievers(RunContext& ctx);

// Calls the retriever of that name. "depatis_download" takes fallback as its third
// argument. A name that nothing was installed for does nothing.
void call_retriever(RunContext& ctx, const QString& name, QString& number, const QString& reference,
                    bool fallback = false);
