#include "foundation/host.h"

#include <QCoreApplication>

#include <cstdio>

void HeadlessHost::setStatus(const QString& text) {
    if (text != status_ || statusHistory.isEmpty()) {
        statusHistory.append(text);
        if (echoStatus) {
            std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
            std::fflush(stderr);
        }
    }
    status_ = text;
}

void HeadlessHost::doEvents() {
    QCoreApplication::processEvents();
}

void HeadlessHost::message(const QString& text, const QString& title, int icon) {
    Q_UNUSED(icon);
    messages.append(text);
    if (echoStatus)
        std::fprintf(stderr, "%s: %s\n", title.toLocal8Bit().constData(),
                     text.toLocal8Bit().constData());
}
