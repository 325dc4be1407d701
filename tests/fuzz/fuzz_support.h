#pragma once

// What the fuzz targets share: the input as a QString of bytes (one character per byte, as
// the program reads every reply), the input split into fields, and a scratch folder of the
// process for targets that need files.

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>

inline QByteArray fuzz_bytes(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

inline QString fuzz_text(const uint8_t* data, size_t size) {
    return QString::fromLatin1(reinterpret_cast<const char*>(data), qsizetype(size));
}

// The input cut at NUL bytes into at least n fields (missing ones empty).
inline QStringList fuzz_fields(const uint8_t* data, size_t size, int n) {
    QStringList fields = fuzz_text(data, size).split(QChar(u'\0'));
    while (fields.size() < n)
        fields << QString();
    return fields;
}

// A folder of this process below the temp folder, made once.
inline QString fuzz_folder() {
    static const QString folder = [] {
        const QString f = QDir::tempPath() + QStringLiteral("/bqfuzz-") +
                          QString::number(QCoreApplication::applicationPid());
        QDir().mkpath(f);
        return f;
    }();
    return folder;
}
