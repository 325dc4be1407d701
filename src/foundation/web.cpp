#include "foundation/web.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

void apply_access_settings(WebControl& inet, int requestTimeout, const QString& accessKey) {
    inet.Protocol = 4;
    inet.RequestTimeout = requestTimeout;
    const QString act = setting(QStringLiteral("ACT"), QStringLiteral("1"), accessKey);
    if (act == QLatin1String("1")) {
        inet.AccessType = 0;
    } else if (act == QLatin1String("2")) {
        inet.AccessType = 1;
    } else if (act == QLatin1String("3")) {
        inet.AccessType = 2;
        inet.Proxy = setting(QStringLiteral("PROXY"), QString(), accessKey);
    }
}

Preamble preamble_settings(RunContext& ctx, int requestTimeout, const QString& accessKey) {
    apply_access_settings(ctx.Inet1, requestTimeout, accessKey);

    Preamble p;
    p.tempdir = setting(QStringLiteral("TEMPDIR"), default_tempdir());
    p.pdfdir = setting(QStringLiteral("PDFDIR"), default_pdfdir());
    p.server = setting(QStringLiteral("EPOSERVER"),
                       host_role(QStringLiteral("EspacenetNationalHost")), accessKey);
    p.prefix = setting(QStringLiteral("PROXYUSERID"), QString());
    CAddFolder(p.tempdir);
    CAddFolder(p.pdfdir);
    p.tempdir = with_slash(p.tempdir);
    p.pdfdir = with_slash(p.pdfdir);
    p.pdf_folder = p.pdfdir;
    return p;
}

QString order_folder_name(const QString& reference) {
    QString name = reference;
    name.remove(QLatin1Char('/'));
    name.remove(QLatin1Char('\\'));
    name.replace(QLatin1Char(' '), QLatin1Char('_'));
    name.remove(QLatin1Char('.'));
    name.remove(QLatin1Char(','));
    name.remove(QLatin1Char('@'));
    name.remove(QLatin1Char(':'));
    // Beside the rules above: nothing that a file system or another system would misread, and
    // no more than one name may hold.
    name = name_safe(name);
    while (name.toUtf8().size() > 255)
        name.chop(1);
    return name;
}

QString make_job_id(RunContext& ctx) {
    const int random = int(ctx.Rnd() * 1000) + 1;
    QString id = now_text() + timer_text() + QString::number(random);
    for (QChar c : {u'/', u'\\', u' ', u'.', u',', u'@', u':'})
        id.remove(c);
    return id;
}

Preamble fetch_preamble(RunContext& ctx, QString& number, const QString& reference,
                        int requestTimeout, const QString& sourceLabel,
                        const PreambleSteps& steps) {
    Preamble p = preamble_settings(ctx, requestTimeout, steps.accessKey);
    if (!reference.isEmpty()) {
        const QString name = order_folder_name(reference);
        AddNewFolder(p.pdfdir, name);
        p.pdf_folder = p.pdfdir + name + QLatin1Char('/');
        ctx.state.order_folder = p.pdf_folder;
    } else {
        ctx.state.order_folder.clear();
    }
    p.job_id = make_job_id(ctx);
    p.temp_prefix = p.tempdir + p.job_id;
    p.result.clear();
    if (steps.rewriteNumber) {
        number = number.toUpper();
        number.remove(QLatin1Char('-'));
    }
    // The number names the document's file: whatever can't stand in a name goes.
    number = name_safe(number);
    if (steps.title) {
        ctx.host.setTitle(number + sourceLabel);
        ctx.doEvents(3);
    }
    if (steps.status)
        ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    return p;
}

QString time_stamp() {
    return QStringLiteral("&PROXY=") + timer_text();
}

QString Hex2(int n) {
    const QString hex = QString::number(n, 16).toUpper();
    return (n & 240) ? hex : QStringLiteral("0") + hex;
}

QString URLEncode(const QString& Text) {
    QString s = Text;
    for (int i = s.size() - 1; i >= 0; --i) {
        const QChar c = s.at(i);
        const QChar u = c.toUpper();
        const bool keep = (u >= QLatin1Char('0') && u <= QLatin1Char('9')) ||
                          (u >= QLatin1Char('A') && u <= QLatin1Char('Z'));
        if (keep)
            continue;
        if (c == QLatin1Char(' '))
            s[i] = QLatin1Char('+');
        else
            s.replace(i, 1, QStringLiteral("%") + Hex2(c.unicode() & 0xFF));
    }
    return s;
}

void Delay(RunContext& ctx, double HowLong) {
    // Events keep running while it waits, but the wait sleeps instead of spinning.
    QElapsedTimer t;
    t.start();
    const qint64 until = qint64(HowLong * 1000);
    while (t.elapsed() < until) {
        QEventLoop loop;
        QTimer::singleShot(int(qMin<qint64>(until - t.elapsed(), 100)), &loop, &QEventLoop::quit);
        loop.exec();
        ctx.doEvents();
    }
}

QByteArray get_all_chunks(RunContext& ctx) {
    QByteArray all;
    for (;;) {
        const QByteArray chunk = ctx.Inet1.GetChunk(256);
        ctx.doEvents();
        if (chunk.isEmpty())
            break;
        all += chunk;
    }
    return all;
}
