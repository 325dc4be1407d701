#pragma once

#include <QString>

// A note on the desktop when a long order ends while the user works elsewhere.

// Orders shorter than this end while the user is still watching.
constexpr qint64 kNotifyAfterMs = 60 * 1000;

// Whether the end of an order deserves a notification: it ran longer than a minute and the
// main window, shown on the screen, is not the active one.
bool notification_due(qint64 elapsedMs, bool windowShown, bool windowActive);

// Sends a notification through the freedesktop notification service on the session bus.
// False, and nothing shown, when there is no session bus or no such service.
bool notify_desktop(const QString& summary, const QString& body);
