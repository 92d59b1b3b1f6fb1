#pragma once

#include <QString>

// The maps from the controls' values to the engine's units, and the texts of their labels.
namespace ControlFormats {

// "100 %" for a rate of 1.0.
QString speedText(double rate);
// Decibels relative to a gain of 1.0: "0.0 dB".
QString volumeText(float gain);
// The tone slider's 0..1 to 40..3000 Hz, computed in double and held as float.
float toneHertz(float value);
// "1.5 kHz" from 1000 Hz on, "40 Hz" below.
QString toneText(float hertz);
// Coarse spans ±1200 cents, fine ±100; both sliders run 0..1 with 0.5 neutral.
double pitchCents(double coarse, double fine);
QString pitchText(double cents);
// "mm:ss", minutes unlimited: 100 minutes read "100:00".
QString timeText(double seconds);
QString zoomText(float factor);
QString zoomTextRounded(double factor);

// A title as a menu item must carry it: a lone '&' would mark a mnemonic, so it is doubled.
QString menuText(const QString& title);

} // namespace ControlFormats
