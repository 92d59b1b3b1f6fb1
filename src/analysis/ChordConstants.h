#pragma once

#include <cstdint>

// The fixed numbers of the chord estimator, in the precision each one is used in.
namespace chordconst {

inline constexpr double kTargetRate = 22050.0;
inline constexpr float kTargetRateF = 22050.0f;

inline constexpr int64_t kSampleCapBytes = 211'680'000; // 2,400 s at the target rate
inline constexpr int64_t kShortestInputBytes = 32'768;  // 8,192 samples

inline constexpr int kFrameSize = 4096;
inline constexpr int kHop = 1024;
inline constexpr double kHopSeconds = 0.046439909297052155;
inline constexpr int kBinCount = kFrameSize / 2;
inline constexpr int kLowestBin = 10;
inline constexpr int kHighestBin = 335;

// Bin values are the plain DFT divided by the frame size (power of two, so exact in float).
inline constexpr float kFftScale = 1.0f / 4096.0f;
// Amplitude of the normalised periodic Hann window: w[n] = kHannNorm * (1 - cos(2 pi n / N)).
inline constexpr double kHannNorm = 0.8165;

inline constexpr float kTuningHz = 440.0f;
inline constexpr float kTuningMidi = 69.0f;

inline constexpr double kRmsGate = 0.006;
inline constexpr float kBinPowerFloor = 1e-10f;
inline constexpr float kFrameEnergyFloor = 1e-8f;

inline constexpr float kScoreStart = -1000.0f;
inline constexpr float kMajorColourWeight = 0.22f;
inline constexpr float kMinorColourWeight = 0.20f;
inline constexpr float kOutsidePenalty = 0.32f;
inline constexpr float kSmallestTriadShare = 0.38f;
inline constexpr float kSmallestMargin = 0.015f;
inline constexpr float kConfidenceOrigin = 0.30f;
inline constexpr float kShareSlope = 1.5f;
inline constexpr float kMarginSlope = 4.0f;

inline constexpr int kSmoothingReach = 2;
inline constexpr float kSmallestVoteConfidence = 0.25f;
inline constexpr int kSmallestVotes = 2;

inline constexpr double kShortestSegment = 0.35;
inline constexpr double kSmallestMeanConfidence = 0.8;
inline constexpr double kLargestMergeGap = 0.25;
inline constexpr double kSmallestCoverage = 0.03;
inline constexpr float kFallbackTriadShare = 0.45f;
inline constexpr double kFallbackConfidence = 0.2;

inline constexpr int kChordCount = 24;

} // namespace chordconst
