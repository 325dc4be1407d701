#pragma once

#include <QStringList>
#include <QWidget>

class QLabel;
class QListWidget;
class QPushButton;
struct RunContext;

// The download report: one checkable line per outcome of the order. A double click opens
// the document; checked documents can be printed.
class ReportWindow : public QWidget {
    Q_OBJECT
public:
    // Reads report_text once: the window shows the order as it ended.
    ReportWindow(RunContext& ctx, const QString& reference, QWidget* parent = nullptr);

    QListWidget* list() const { return List1; }
    void openLine(int row);
    void printChecked();
    void setAllChecked(bool on);
    // Puts the numbers that the report lists as missing into the main window's list.
    void orderMissingAgain();

private:
    RunContext& ctx_;
    QListWidget* List1 = nullptr;
    QLabel* Label2 = nullptr;
    QStringList missing_;
};
