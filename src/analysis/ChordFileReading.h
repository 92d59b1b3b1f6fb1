#pragma once

#include <QString>
#include <QUrl>

class AudioFileReader;

// The steps every chord estimator takes around its own analysis, so that all of them refuse a file
// alike, with the same log lines and the same failure words.

// Clears `failure`, then opens the file of `url` in `reader`. False, with `failure` set (when
// given) to a short cause, when the address is no local file, the file can not be opened, or it
// holds no decodable audio stream.
bool openForChordAnalysis(const QUrl& url, AudioFileReader& reader, QString* failure);

// Judges a finished reader.decode(): true when its samples can be analysed. `intact` is decode()'s
// answer, or true when the analysis itself stopped the decode on purpose. False on a cancel (with
// `failure` left clear), and false with `failure` set for a damaged file or one with no audio.
bool chordDecodeUsable(const AudioFileReader& reader, bool intact, const QString& path, QString* failure);
