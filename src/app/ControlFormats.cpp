#include "app/ControlFormats.h"

#include <cmath>

namespace ControlFormats {

QString speedText(double rate)
{
    return QString::asprintf("%0.f %%", rate * 100.0);
}

QString volumeText(float gain)
{
    return QString::asprintf("%.1f dB", 20.0 * std::log10(double(gain)));
}

float toneHertz(float value)
{
    return float(double(value) * 2960.0 + 40.0);
}

QString toneText(float hertz)
{
    if (double(hertz) >= 1000.0)
        return QString::asprintf("%.1f kHz", double(hertz) / 1000.0);
    return QString::asprintf("%.0f Hz", double(hertz));
}

double pitchCents(double coarse, double fine)
{
    return (coarse - 0.5) * 2400.0 + (fine - 0.5) * 200.0;
}

QString pitchText(double cents)
{
    return QString::asprintf("%.0f Ct", cents);
}

QString timeText(double seconds)
{
    const int minutes = int(seconds / 60.0);
    const int rest = int(seconds) % 60;
    // Two digits at least on each side; the same output as "%0.2d".
    return QString::asprintf("%.2d:%.2d", minutes, rest);
}

QString zoomText(float factor)
{
    return QString::asprintf("%.fx", double(factor));
}

QString zoomTextRounded(double factor)
{
    return QString::asprintf("%.0fx", factor);
}

QString menuText(const QString& title)
{
    QString text = title;
    return text.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

} // namespace ControlFormats
