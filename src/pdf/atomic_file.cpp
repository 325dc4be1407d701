#include "pdf/atomic_file.h"

#include <QFile>

#include <cstdio>

QString assembly_name(const QString& target) {
    return target + QStringLiteral(".part");
}

bool store_whole(const QString& target, const QByteArray& bytes) {
    const QString part = assembly_name(target);
    QFile file(part);
    // One write of the whole buffer: the assembly is either all there or dropped.
    const bool written =
        file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
    file.close();
    if (!written || file.error() != QFileDevice::NoError) {
        QFile::remove(part);
        return false;
    }
    return publish(part, target);
}

bool publish(const QString& assembly, const QString& target) {
    // rename(2) replaces the target in one step; QFile::rename would refuse an existing one.
    if (std::rename(QFile::encodeName(assembly).constData(),
                    QFile::encodeName(target).constData()) == 0)
        return true;
    QFile::remove(assembly);
    return false;
}
