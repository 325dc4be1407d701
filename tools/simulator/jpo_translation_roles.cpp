// The company's translation service: "/getimg/ipc/transmember.asp?PN=" takes a number in
// Espacenet form (Japanese or Chinese), translates the document while the client waits and
// answers with the finished English page, or with a short note when it has none. The pages
// are kept as "<number>.htm" in the samples' "translation" folder; a test may put any text
// there.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

#include <QDir>
#include <QFile>

namespace {

QString translation_file(const QString& samples, const QString& number) {
    return samples + QStringLiteral("/translation/") + number + QStringLiteral(".htm");
}

void ensure_translation(const QString& samples, const QString& number, const QString& title) {
    const QString path = translation_file(samples, number);
    if (QFile::exists(path))
        return;
    QDir().mkpath(samples + QStringLiteral("/translation"));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        return;
    f.write(QStringLiteral(
                "<HTML><HEAD><TITLE>%1</TITLE></HEAD><BODY>\r\n"
                "<A HREF=\"/getimg/ipc/help.htm\">Help</A><HR>\r\n"
                "(19) [Publication country] Patent Office\r\n(11) [Publication number] %1\r\n"
                "(54) [Title of the Invention] %2\r\n<HR>\r\n[Claim(s)]\r\n[Claim 1] A device "
                "as described in this Patent document.\r\n[Detailed Description]\r\n"
                "[0001] The invention relates to %2.\r\n"
                "[Translation done.]\r\n<SCRIPT>window.status='';</SCRIPT></BODY></HTML>\r\n")
                .arg(number, title)
                .toLatin1());
}

} // namespace

void add_jpo_translation_roles(Simulator& sim) {
    ensure_translation(sim.samples(), QStringLiteral("JP2004012345"),
                       QStringLiteral("a folding umbrella"));
    ensure_translation(sim.samples(), QStringLiteral("CN1623014"), QStringLiteral("a rice cooker"));

    sim.route(QStringLiteral("CompanyImageHost"), "/getimg/ipc/transmember.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = sim::qparam(req, "PN").trimmed().toUpper();
                  QFile f(translation_file(sim.samples(), pn));
                  if (pn.isEmpty() || !f.open(QIODevice::ReadOnly))
                      return sim::answer_text(res, QStringLiteral("No translation"));
                  const QByteArray page = f.readAll();
                  res.status = 200;
                  res.set_content(page.constData(), size_t(page.size()), "text/html");
              });
}
