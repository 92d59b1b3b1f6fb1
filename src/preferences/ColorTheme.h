#pragma once

#include <QColor>
#include <QHash>
#include <QString>
#include <QVariant>

class UserDefaults;

// The five colours of the main window. Only the waveform's colour depends on the "Theme" setting;
// the other four are the same in every theme.
struct ColorTheme {
    QColor background;
    QColor selection;
    QColor wave;
    QColor key;
    QColor icon;

    // The theme for the current value of "Theme" (1 when the key is missing).
    static ColorTheme colorTheme(const UserDefaults& defaults);
    static ColorTheme forTheme(int theme);
    static QColor waveColorForTheme(int theme);

    // The dictionary form, keyed "background", "selection", "wave", "key" and "icon".
    QHash<QString, QColor> dictionary() const;

    // An integer setting the way the preference controls store it: a boolean, a number or its
    // text; `fallback` when the key is missing or unreadable.
    static int integerForKey(const UserDefaults& defaults, const QString& key, int fallback);
    // True when the low eight bits of the integer setting are not all 0.
    static bool flagForKey(const UserDefaults& defaults, const QString& key, bool fallback);
};
