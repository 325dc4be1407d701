#pragma once

#include <QString>

#include <functional>

struct RunContext;

// One order, from the list in Text1 to the report: the list rewritten into canonical
// spelling and written back, every number handed to its retriever, the report shown.
void order_run(RunContext& ctx);

// The front-page-only report: built afresh from the files of the order folder, making the
// "FP_" file from a whole document where only that stands.
void front_page_report(RunContext& ctx);

// What the command line asks for.
struct CommandLineAction {
    enum Kind { Ignore, RunOrder, ShowList } kind = Ignore;
};
// Handles the raw command line (the arguments joined by single blanks): fills Text1 and
// Text2, and tells whether an order is to be run, after which the program ends.
CommandLineAction handle_command_line(RunContext& ctx, const QString& raw);

// Start-up steps that need no window: the PDF folder, the move of an old log, the
// first-start copy of the machine settings, and the state of Check1.
void startup(RunContext& ctx);

// The list that a cancel hands to the new process: LF and "," deleted, CR made ",".
QString cancel_list(const QString& text1);

// The cancel button: flags the order cancelled, drops Inet1's request, starts a new copy
// of the program with the list, and ends this one through endProgram.
void cancel_order(RunContext& ctx, const QString& executable,
                  const std::function<void()>& endProgram);
