#pragma once

// What the fuzz targets share: the input as bytes or as a QString of one character per byte
// (as the program reads every reply), cut at NUL bytes into at least n fields (missing ones
// empty), and a scratch folder of the process (made when missing) for targets that need files.

#include <QCoreApplication>
#include <QDir>
#include <QStringList>

#include <cstdint>

inline QByteArray fuzz_bytes(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

inline QString fuzz_text(const uint8_t* data, size_t size) {
    return QString::fromLatin1(fuzz_bytes(data, size));
}

inline QStringList fuzz_fields(const uint8_t* data, size_t size, int n) {
    QStringList fields = fuzz_text(data, size).split(QChar(u'\0'));
    while (fields.size() < n)
        fields << QString();
    return fields;
}

inline QString fuzz_folder() {
    static const QString folder =
        QDir::tempPath() + "/bqfuzz-" + QString::number(QCoreApplication::applicationPid());
    QDir().mkpath(folder);
    return folder;
}
