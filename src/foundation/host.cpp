#include "foundation/host.h"

#include <QCoreApplication>

void HeadlessHost::setStatus(const QString& text) {
    if (text != status_ || statusHistory.isEmpty()) {
        statusHistory.append(text);
    }
    status_ = text;
}

void HeadlessHost::doEvents() {
    QCoreApplication::processEvents();
}

void HeadlessHost::message(const QString& text, const QString& title, int icon) {
    Q_UNUSED(title);
    Q_UNUSED(icon);
    messages.append(text);
}
