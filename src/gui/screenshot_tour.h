#pragma once

#include <QString>

class Form1;

// Grabs the windows of the running program into a folder as PNG files, for the README: the
// main window with its list and during an order, the report of that order, the setup dialog
// and each side window. Started by the environment variable BRIGHTQUILL_SCREENSHOTS (the
// folder) through scripts/screenshots.sh; the list in the window is ordered for real.
void take_screenshots(Form1& form, const QString& folder);
