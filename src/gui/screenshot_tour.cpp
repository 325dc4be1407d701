#include "gui/screenshot_tour.h"

#include "gui/form1.h"
#include "gui/report_window.h"
#include "gui/settings_window.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <QTimer>

#include <cstdio>

namespace {

// Lets the window system map and paint what was just shown.
void settle() {
    for (int i = 0; i < 30; ++i) {
        QCoreApplication::processEvents();
        QThread::msleep(10);
    }
}

QWidget* shown(const QString& name) {
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == name && w->isVisible())
            return w;
    return nullptr;
}

void save(QWidget* w, const QString& folder, const char* name) {
    const QString file = folder + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".png");
    if (!w) {
        std::fprintf(stderr, "screenshots: no window for %s\n", name);
        return;
    }
    w->show();
    w->raise();
    settle();
    if (!w->grab().save(file))
        std::fprintf(stderr, "screenshots: cannot write %s\n", file.toLocal8Bit().constData());
}

} // namespace

void take_screenshots(Form1& form, const QString& folder) {
    QDir().mkpath(folder);
    save(&form, folder, "main-window");

    // The order itself, caught once while a document arrives page by page.
    auto* bar = form.findChild<QProgressBar*>(QStringLiteral("progress"));
    bool caught = false;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (!caught && bar->isVisible() && bar->text().contains(QStringLiteral(", page 3 "))) {
            caught = true;
            form.grab().save(folder + QStringLiteral("/order-running.png"));
        }
    });
    watch.start(5);
    form.Command1_Click();
    watch.stop();
    if (ReportWindow* report = form.reportWindow()) {
        save(report, folder, "report");
        report->close();
    }

    form.msetup_Click();
    save(form.settingsDialog(), folder, "setup");
    if (form.settingsDialog())
        form.settingsDialog()->close();
    settle();

    const struct {
        const char *action, *window, *file;
    } sides[] = {{"huspto", "usptoTip", "uspto-tips"},
                 {"uespace", "epooTip", "espacenet-tips"},
                 {"whatnew", "Form2", "whats-new"}};
    for (const auto& s : sides) {
        if (auto* a = form.findChild<QAction*>(QLatin1String(s.action)))
            a->trigger();
        QWidget* w = shown(QLatin1String(s.window));
        save(w, folder, s.file);
        if (w)
            w->close();
    }

    form.fmam_Click();
    if (QWidget* fexplorer = shown(QStringLiteral("fexplorer"))) {
        fexplorer->findChild<QLineEdit*>(QStringLiteral("pn"))
            ->setText(QStringLiteral("EP1000001"));
        fexplorer->findChild<QPushButton*>(QStringLiteral("Command1"))->click();
        save(fexplorer, folder, "equivalents");
        fexplorer->close();
    }
    settle();

    form.importw_Click();
    if (auto* dialog = form.findChild<QFileDialog*>(QStringLiteral("importDialog"))) {
        save(dialog, folder, "import");
        dialog->reject();
    }
}
