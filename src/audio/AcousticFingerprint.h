#pragma once

#include <QString>

class PcmCache;

// A Chromaprint fingerprint of the first kSeconds of a track: the same sound gives the same text
// whatever the file is called and wherever it lies, so what was saved for a track finds it again
// after a rename or a move. Empty for a track too short or too quiet to tell apart from others.
namespace AcousticFingerprint {

constexpr double kSeconds = 30.0;

QString of(const PcmCache& pcm);

} // namespace AcousticFingerprint
