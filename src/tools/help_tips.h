#pragma once

#include <QString>

struct RunContext;

// Help, the number-format tips and What's new. The tips are the product's own statement of
// the number forms it accepts; the routing of the order run is what acts on them.

// The help page: a few words and a script that takes the browser to "/help/" on the
// company's web host.
QString help_page();
// Writes the help page anew into help.htm in the application folder and opens it.
void open_help(RunContext& ctx);

// The company's contact address (the setting ContactAddress) and its mail link.
QString contact_address();
QString contact_link();

// The texts of the tip windows and of What's new, as rich text.
QString uspto_tips();
QString espacenet_tips();
QString whats_new_heading();
QString whats_new();
