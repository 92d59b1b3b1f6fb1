#include "preferences/ColorTheme.h"

#include "preferences/UserDefaults.h"

namespace {
QColor device(double r, double g, double b, double a = 1.0)
{
    return QColor::fromRgbF(float(r), float(g), float(b), float(a));
}
} // namespace

ColorTheme ColorTheme::colorTheme(const UserDefaults& defaults)
{
    return forTheme(integerForKey(defaults, QStringLiteral("Theme"), 1));
}

ColorTheme ColorTheme::forTheme(int theme)
{
    ColorTheme colors;
    colors.background = device(0.157, 0.208, 0.251);
    colors.selection = device(0.949, 0.933, 0.918, 0.15);
    colors.key = device(0.85, 0.85, 0.85);
    colors.icon = device(0.114, 0.114, 0.114);
    colors.wave = waveColorForTheme(theme);
    return colors;
}

QColor ColorTheme::waveColorForTheme(int theme)
{
    switch (theme) {
    case 0: return device(0.173, 0.835, 0.675);
    case 1: return device(0.141, 0.824, 0.353);
    case 2: return device(1.0, 0.416, 0.267);
    case 3: return device(0.133, 0.733, 0.839);
    default: return device(1.0, 0.69, 0.42);
    }
}

QHash<QString, QColor> ColorTheme::dictionary() const
{
    return {{QStringLiteral("background"), background},
            {QStringLiteral("selection"), selection},
            {QStringLiteral("wave"), wave},
            {QStringLiteral("key"), key},
            {QStringLiteral("icon"), icon}};
}

int ColorTheme::integerForKey(const UserDefaults& defaults, const QString& key, int fallback)
{
    const QVariant value = defaults.objectForKey(key);
    if (!value.isValid())
        return fallback;
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? 1 : 0;
    // The settings file gives back every value as text.
    const QString text = value.toString().trimmed();
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return 1;
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return 0;
    bool ok = false;
    const int number = text.toInt(&ok);
    return ok ? number : fallback;
}

bool ColorTheme::flagForKey(const UserDefaults& defaults, const QString& key, bool fallback)
{
    return (integerForKey(defaults, key, fallback ? 1 : 0) & 0xFF) != 0;
}
