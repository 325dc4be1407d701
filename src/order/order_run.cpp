#include "order/order_run.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "order/routing.h"
#include "pdf/pdf_library.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

void order_run(RunContext& ctx) {
    RunState& s = ctx.state;
    s.report_text.clear();
    s.report_folder.clear();
    s.tallies.clear();
    s.delivered_files.clear();
    s.order_cancelled = false;
    s.order_folder.clear();
    ctx.host.setOrderRunning(true);

    ctx.host.setText1(canonical_list(ctx.host.text1()));
    dispatch_list(ctx, ctx.host.text1(), vb_trim(ctx.host.text2()));

    if (s.order_folder.isEmpty())
        s.order_folder = setting(QStringLiteral("PDFDIR"), default_pdfdir());
    s.order_folder = with_slash(s.order_folder);
    s.report_folder = s.order_folder;

    if (!s.order_cancelled) {
        if (ctx.host.frontPageOnly())
            front_page_report(ctx);
        ctx.host.showReport();
    }
    ctx.host.setProgress(0, 0);
    ctx.host.setOrderRunning(false);
}

void front_page_report(RunContext& ctx) {
    RunState& s = ctx.state;
    s.report_text.clear();
    for (const QString& element : split_list(ctx.host.text1())) {
        if (s.order_cancelled)
            break;
        const QString number = clean_line(element);
        if (number.size() <= 2)
            continue;
        const QString fp = s.order_folder + QStringLiteral("FP_") + number + QStringLiteral(".pdf");
        const QString whole = s.order_folder + number + QStringLiteral(".pdf");
        if (file_exists(fp)) {
            s.report_text += QStringLiteral("FP_") + number + QStringLiteral("  \tFront page\r\n");
        } else if (file_exists(whole)) {
            pdf2fp(whole, fp);
            s.report_text += QStringLiteral("FP_") + number + QStringLiteral("  \tFront page\r\n");
        } else {
            // The number as cleaned: a bare "5123456" stored as US5123456.pdf is not found.
            s.report_text += number + QStringLiteral("  \tNOT FOUND\r\n");
        }
    }
}

CommandLineAction handle_command_line(RunContext& ctx, const QString& raw) {
    if (raw.size() <= 2)
        return {CommandLineAction::Ignore};
    const QString line = vb_trim(raw).toUpper();
    if (line.startsWith(QLatin1String("/P:"))) {
        QString list = line.mid(3);
        const int r = int(list.indexOf(QLatin1String("/R:")));
        if (r >= 0) {
            ctx.host.setText2(vb_trim(list.mid(r + 3)));
            list = vb_trim(list.left(r));
        }
        list.replace(QLatin1Char(','), QStringLiteral("\r\n"));
        ctx.host.setText1(list);
        return {CommandLineAction::RunOrder};
    }
    if (line.startsWith(QLatin1String("/F:"))) {
        // File names keep the case they were given in: Linux file names are case-sensitive.
        const QString given = vb_trim(vb_trim(raw).mid(3));
        const QString name = file_exists(given) ? given : line.mid(3);
        if (file_exists(name)) {
            QString text = QString::fromUtf8(read_file(name));
            text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
            text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
            for (QChar c : {u',', u'.', u'-', u'/', u'\\'})
                text.remove(c);
            ctx.host.setText1(text);
            return {CommandLineAction::RunOrder};
        }
    }
    QString text = raw;
    text.replace(QLatin1Char(','), QStringLiteral("\r\n"));
    ctx.host.setText1(text);
    return {CommandLineAction::ShowList};
}

void startup(RunContext& ctx) {
    const QString pdfdir = TrimNul(setting(QStringLiteral("PDFDIR"), default_pdfdir()));
    CAddFolder(pdfdir);
    const QString logFile = with_slash(pdfdir) + QStringLiteral("bnslog.csv");

    // A log left in the Windows folder by an old version moves to the PDF folder. There is
    // no such folder here, so this finds nothing.
    const QString winDir = GetWinDir();
    if (!winDir.isEmpty()) {
        const QString old = with_slash(winDir) + QStringLiteral("bnslog.csv");
        if (file_exists(old)) {
            if (!file_exists(logFile))
                CopyFileBinary(ctx.host, old, logFile);
            delete_file(old);
        }
    }

    first_start_copy();

    // Read from the old key, written to the live one: so Check1 starts ticked in practice.
    const QString newEspace =
        vb_trim(ReadRegistry(old_settings_key, QStringLiteral("NEWESPACE"), QStringLiteral("1")));
    ctx.host.setUseNewEspacenet(newEspace.startsWith(QLatin1Char('1')));
}

QString cancel_list(const QString& text1) {
    if (text1.isEmpty())
        return {};
    QString list = text1;
    list.remove(QLatin1Char('\n'));
    list.remove(QLatin1Char(','));
    list.replace(QLatin1Char('\r'), QLatin1Char(','));
    return list;
}

void cancel_order(RunContext& ctx, const QString& executable,
                  const std::function<void()>& endProgram) {
    ctx.state.order_cancelled = true;
    ctx.Inet1.Cancel();
    const QString list = cancel_list(ctx.host.text1());
    ctx.shell.startDetached(executable, list.isEmpty() ? QStringList() : QStringList{list});
    ctx.host.setOrderRunning(false);
    ctx.host.doEvents();
    endProgram();
}
