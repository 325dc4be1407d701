#pragma once

// Settings helpers for tests that link the core.

#include "foundation/registry.h"

#include <QString>

#include <initializer_list>
#include <utility>

// Creates the user's settings key if needed and writes the values into it.
inline void set_settings(std::initializer_list<std::pair<QString, QString>> values,
                         const QString& key = settings_key) {
    CreateKey(key);
    for (const auto& [name, value] : values)
        WriteRegistry(key, name, value);
}

// Points every host role of the list at one server ("127.0.0.1:port").
inline void point_roles(std::initializer_list<const char*> roles, const QString& host) {
    CreateKey(settings_key);
    for (const char* role : roles)
        WriteRegistry(settings_key, QString::fromLatin1(role), host);
}
