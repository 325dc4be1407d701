#pragma once

#include <QByteArray>
#include <QString>

// A document appears under its own name only complete. Its file is written or put together
// under the assembly name beside it, in the same folder, and then renamed over the name: a
// program that dies meanwhile leaves at most an assembly behind, never a part of a document
// that the next order would take from the folder as whole.

// target + ".part". A left-over one is dropped when the document is put together again.
QString assembly_name(const QString& target);

// Writes bytes under target through its assembly name, replacing what stood there. False,
// with the assembly removed and target as it was, when it could not be written.
bool store_whole(const QString& target, const QByteArray& bytes);

// Moves a finished assembly over target. False, with the assembly removed, when that fails.
bool publish(const QString& assembly, const QString& target);
