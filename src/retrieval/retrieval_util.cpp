#include "retrieval/retrieval_util.h"

#include "foundation/general.h"
#include "foundation/registry.h"
#include "foundation/web_control.h"

#include <QFile>
#include <QSaveFile>

#include <limits>

QString wo_years(const QString& number, int lastYear) {
    if (!number.startsWith(QLatin1String("WO")))
        return number;
    QString s = number;
    for (int year = 4; year <= lastYear; ++year) {
        const QString yy = QStringLiteral("%1").arg(year, 2, 10, QLatin1Char('0'));
        s.replace(QStringLiteral("WO") + yy, QStringLiteral("WO20") + yy);
    }
    return s;
}

int vb_val(const QString& text) {
    auto blank = [](QChar c) {
        return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') ||
               c == QLatin1Char('\r');
    };
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && blank(text.at(i)))
        ++i;
    bool negative = false;
    if (i < n && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+'))) {
        negative = text.at(i) == QLatin1Char('-');
        ++i;
    }
    qint64 value = 0;
    for (; i < n; ++i) {
        const QChar c = text.at(i);
        if (blank(c))
            continue;
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            break;
        value = value * 10 + (c.unicode() - '0');
        if (value > std::numeric_limits<int>::max())
            return 0;
    }
    return int(negative ? -value : value);
}

QString fetch_text(WebControl& inet, const QString& url) {
    if (auto answer = inet.OpenURL(url))
        return latin1(*answer);
    return {};
}

QByteArray fetch_bytes(WebControl& inet, const QString& url) {
    if (auto answer = inet.OpenURL(url))
        return *answer;
    return {};
}

bool save_bytes(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

QString html_test_text(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const qint64 length = file.size();
    return latin1(file.read(length > 300 ? 300 : qMax<qint64>(length - 1, 0)));
}

bool holds_html(const QString& text) {
    return text.contains(QLatin1String("<HTML>"), Qt::CaseInsensitive);
}

bool setting_on(const QString& name, const QString& defaultValue) {
    return setting(name, defaultValue).startsWith(QLatin1Char('1'));
}
