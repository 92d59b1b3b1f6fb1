#pragma once

#include "analysis/LTChordEstimator.h"

#include <optional>

// Which estimator finds a file's chords. The basic one is kept exactly as it was for those who
// want its answers; the precise one is the default.
enum class ChordMethod { Basic, Precise };

constexpr ChordMethod kDefaultChordMethod = ChordMethod::Precise;

// "basic" or "precise": the words of `--method` and of the "ChordMethod" setting.
QString chordMethodName(ChordMethod method);
std::optional<ChordMethod> chordMethodFromName(const QString& name);

// The estimator of `method`, with LTChordEstimator's arguments and answers.
QList<LTChordSegment> estimateChordSegments(ChordMethod method, const QUrl& url,
                                            const LTChordEstimator::Progress& progress = {},
                                            const std::atomic<bool>* cancel = nullptr, QString* failure = nullptr);
