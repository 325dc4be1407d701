#pragma once

#include <QString>

struct RunContext;

// The page loops: fetch every page of a document as a one-page PDF into job files
// (tempPrefix + page + ".pdf") and join them, in page order, into outputFile. A document
// arrives whole or not at all: a page that fails ten times throws the others away, and
// then neither the output file nor any job file is left. Success is that outputFile exists.
//
// baseUrl is the page's address up to the page number ("...&PG="); each request adds the
// page number and the time stamp. name is the number shown in the status line.

// Up to batchSize (at most 100) requests in flight at once, each on its own page slot,
// polled from this one loop (pp_indexc deals with a slot whose request has ended). Batches
// are strict: the next starts when every page of this one is done.
void pages_parallel(RunContext& ctx, int& pageCount, const QString& baseUrl, int batchSize,
                    const QString& tempPrefix, const QString& outputFile, const QString& name);

// One page after the other on Inet1; batchSize is not used.
void pages_serial(RunContext& ctx, int& pageCount, const QString& baseUrl, int batchSize,
                  const QString& tempPrefix, const QString& outputFile, const QString& name);

// pages_parallel when the setting PARPAGEDESKTOP begins with "1" (the default), else
// pages_serial, with batches of ten.
void pages_download(RunContext& ctx, int& pageCount, const QString& baseUrl,
                    const QString& tempPrefix, const QString& outputFile, const QString& name);
