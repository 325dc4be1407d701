#include "tools/family_search.h"

#include "foundation/general.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "tools/service.h"

namespace {

// WO numbers: "WO20" becomes "WO"; the serial loses leading zeros beyond five digits and is
// padded to five; from 2002 on (the serial 51230 of 2002 being the last short one) a
// five-digit serial gets its leading zero back. A number with an "A" keeps its form.
QString wo_short_form(QString n) {
    n.replace(QStringLiteral("WO20"), QStringLiteral("WO"));
    if (n.contains(QLatin1Char('A')))
        return n;
    QString tail = Mid(n, 5);
    for (int i = 0; i < 5; ++i)
        if (tail.size() > 5 && tail.startsWith(QLatin1Char('0')))
            tail.remove(0, 1);
    for (int i = 0; i < 6; ++i)
        if (tail.size() < 5)
            tail.prepend(QLatin1Char('0'));
    const QString head = Left(n, 4);
    if (vb_val(Mid(n, 3, 1)) < 7 && tail.size() == 5) {
        if (head == QLatin1String("WO02")) {
            if (vb_val(tail) > 51230)
                tail.prepend(QLatin1Char('0'));
        } else if (head != QLatin1String("WO00") && head != QLatin1String("WO01")) {
            tail.prepend(QLatin1Char('0'));
        }
    }
    return head + tail;
}

} // namespace

QString family_number(const QString& text3) {
    QString n = text3.toUpper();
    for (QChar c : {u' ', u',', u'-', u'/', u'\\'})
        n.remove(c);
    return n.startsWith(QLatin1String("WO")) ? wo_short_form(n) : n;
}

QString family_url(const QString& prefix, const QString& number) {
    return services_url(prefix,
                        QStringLiteral("/Desktop_BQ/famlegalmulti.asp?PN=") + number +
                            QStringLiteral("&u=") + host_role(QStringLiteral("CustomerNumber")) +
                            QStringLiteral("&Kk=") + host_role(QStringLiteral("CustomerCode")));
}

QByteArray family_offline_page() {
    return QByteArrayLiteral("<HTML><BODY><h2 align=center>The INPADOC system<br>is "
                             "offline!!</h2></body></html>");
}

QString family_search(RunContext& ctx, const QString& text3, const QString& text2) {
    const QString number = family_number(text3);
    set_up_control(ctx.Inet3, 300);
    const QString prefix = proxy_prefix();
    const QString tempdir = setting(QStringLiteral("TEMPDIR"), default_tempdir());
    QString pdfdir = setting(QStringLiteral("PDFDIR"), default_pdfdir());
    CAddFolder(tempdir);
    CAddFolder(pdfdir);
    if (number.isEmpty())
        return {};

    const QString reference = vb_trim(text2);
    if (!reference.isEmpty()) {
        pdfdir = with_slash(pdfdir);
        const QString name = order_folder_name(reference);
        AddNewFolder(pdfdir, name);
        pdfdir += name + QLatin1Char('/');
    }
    const QString target = with_slash(pdfdir) + number + QStringLiteral(".htm");

    // No cache: every search asks again and replaces an earlier page.
    QByteArray page = ctx.Inet3.OpenURL(family_url(prefix, number)).value_or(QByteArray());
    if (page.isEmpty())
        page = family_offline_page();
    write_file(target, page);
    if (file_exists(target))
        ExecuteLink(ctx.host, ctx.shell, target);
    return target;
}
