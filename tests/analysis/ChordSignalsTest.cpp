#include "ChordTestSignals.h"

#include "common/LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

using namespace chordtest;
using chordconst::kTargetRate;

namespace {

const QString kClosingZero = QStringLiteral("[NOTE_DEBUG] chord segments=0 file=test.wav");

void expectWholeSpan(const QList<LTChordSegment>& segments, int midi, const char* name, double duration)
{
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0].midi, midi);
    EXPECT_EQ(segments[0].noteName, name);
    EXPECT_EQ(segments[0].startSec, 0.0);
    EXPECT_EQ(segments[0].endSec, duration);
    EXPECT_EQ(segments[0].frequencyHz, 0.0);
    EXPECT_GE(segments[0].confidence, 0.8);
    EXPECT_LE(segments[0].confidence, 1.0);
}

} // namespace

TEST(ChordSignals, SteadyCMajorIsOneSegmentOverTheAnalysedDuration)
{
    LogCapture log;
    const QList<LTChordSegment> segments = analyse(triad({0, false, 6.0}));
    expectWholeSpan(segments, 0, "C", 6.0);
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] chord segments=1 file=test.wav"});
}

TEST(ChordSignals, SteadyAMinorIsAm)
{
    expectWholeSpan(analyse(triad({9, true, 5.0})), 21, "Am", 5.0);
}

TEST(ChordSignals, ProgressionGivesEachChordWithItsBoundaries)
{
    const std::vector<Chord> chords{{0, false, 2.0}, {9, true, 2.0},  {5, false, 2.0}, {7, false, 2.0},
                                    {4, true, 2.0},  {2, false, 2.0}, {11, true, 2.5}, {1, false, 2.0},
                                    {6, true, 1.5}};
    const QList<LTChordSegment> segments = analyse(progression(chords));
    ASSERT_EQ(segments.size(), qsizetype(chords.size()));
    double boundary = 0.0;
    for (size_t i = 0; i < chords.size(); ++i) {
        const double next = boundary + chords[i].seconds;
        EXPECT_EQ(segments[qsizetype(i)].midi, chords[i].index()) << i;
        EXPECT_EQ(segments[qsizetype(i)].noteName, LTChordEstimator::chordName(chords[i].index()));
        EXPECT_NEAR(segments[qsizetype(i)].startSec, boundary, 0.25) << i;
        EXPECT_NEAR(segments[qsizetype(i)].endSec, next, 0.25) << i;
        EXPECT_LE(segments[qsizetype(i)].endSec, 18.0);
        boundary = next;
    }
}

TEST(ChordSignals, DigitalSilenceGivesNothingButTheClosingLine)
{
    LogCapture log;
    ChordFrameTrack track;
    EXPECT_TRUE(analyse(std::vector<float>(22050 * 3, 0.0f), &track).isEmpty());
    EXPECT_EQ(track.voicedFrames, 0);
    EXPECT_EQ(track.labels, std::vector<int>(track.labels.size(), -1));
    EXPECT_EQ(log.lines(), QStringList{kClosingZero});
}

TEST(ChordSignals, ShortestInputIsEightThousandOneHundredNinetyTwoSamples)
{
    const std::vector<float> chord = triad({7, false, 1.0});
    {
        LogCapture log;
        ChordFrameTrack track;
        EXPECT_TRUE(analyse({chord.begin(), chord.begin() + 8191}, &track).isEmpty());
        EXPECT_TRUE(track.labels.empty());
        EXPECT_TRUE(log.lines().isEmpty());
    }
    LogCapture log;
    ChordFrameTrack track;
    analyse({chord.begin(), chord.begin() + 8192}, &track);
    EXPECT_EQ(track.labels.size(), 5u);
    EXPECT_EQ(track.confidences.size(), 5u);
    EXPECT_EQ(track.labels, std::vector<int>(5, 7));
    EXPECT_TRUE(log.anyStartsWith("[NOTE_DEBUG] chord segments="));
}

TEST(ChordSignals, UndecidedFramesStillFeedTheWholeFileFallback)
{
    // C, E, G and a slightly weaker A: C major and A minor score within the smallest margin, so no
    // frame is decided, but the mean chroma leans to C major.
    const double shares[4] = {0.2525, 0.2525, 0.25, 0.245};
    const int tones[4] = {60, 64, 67, 69};
    std::vector<float> x(size_t(5 * kTargetRate));
    for (size_t n = 0; n < x.size(); ++n) {
        double v = 0.0;
        for (int i = 0; i < 4; ++i)
            v += 0.2 * std::sqrt(shares[i]) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (tones[i] - 69) / 12.0) * double(n) / kTargetRate);
        x[n] = float(v);
    }
    ChordFrameTrack track;
    const QList<LTChordSegment> segments = analyse(x, &track);
    EXPECT_EQ(track.labels, std::vector<int>(track.labels.size(), -1));
    EXPECT_EQ(track.voicedFrames, int64_t(track.labels.size()));
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0].noteName, "C");
    EXPECT_EQ(segments[0].startSec, 0.0);
    EXPECT_EQ(segments[0].endSec, 5.0);
    EXPECT_EQ(segments[0].confidence, 0.2);
}

TEST(ChordSignals, FrameCountDropsTheTailBehindTheLastWholeFrame)
{
    EXPECT_EQ(chordFrameCount(4095), 0);
    EXPECT_EQ(chordFrameCount(4096), 1);
    EXPECT_EQ(chordFrameCount(8192 + 1023), 5);
    EXPECT_EQ(chordFrameCount(8192 + 1024), 6);
}

TEST(ChordSignals, SlowSourceIsTakenAsTargetRateAndLastsHalfAsLong)
{
    // A C major at 11,025 Hz read as 22,050 Hz sounds an octave up: still C, over half the time.
    const std::vector<float> slow = triad({0, false, 4.0}, 11025.0);
    ChordSampleStore store;
    ChordSampleCollector collector(11025.0, 1, QStringLiteral("slow.wav"), store);
    collector.appendInterleaved(slow.data(), int64_t(slow.size()));
    EXPECT_EQ(store.size(), int64_t(slow.size()));
    expectWholeSpan(analyseChordSamples(store, QStringLiteral("slow.wav")), 0, "C", 2.0);
}

TEST(ChordSignals, AnHourStopsAtTheCapWithOneLineAndTheSegmentsEndThere)
{
    // 8,192 samples of C major whose partials are whole periods of the block: repeating it is seamless.
    std::vector<float> block(8192, 0.0f);
    for (int bin : {97, 122, 146}) // ~C4, E4, G4 in steps of 22,050 / 8,192 Hz
        for (int h = 1; h <= 3; ++h)
            for (size_t n = 0; n < block.size(); ++n)
                block[n] += float(0.1 / h * std::sin(2.0 * M_PI * bin * h * double(n) / 8192.0));
    LogCapture log;
    ChordSampleStore store;
    ChordSampleCollector collector(kTargetRate, 1, QStringLiteral("hour.flac"), store);
    const int64_t hour = 3600 * 22050;
    int64_t fed = 0;
    while (fed < hour && collector.appendInterleaved(block.data(), int64_t(block.size())))
        fed += int64_t(block.size());
    const int64_t capSamples = chordconst::kSampleCapBytes / 4;
    EXPECT_EQ(store.size(), capSamples);
    EXPECT_EQ(fed, capSamples / 8192 * 8192); // the block that reached the cap was refused
    EXPECT_FALSE(collector.appendInterleaved(block.data(), 1));
    EXPECT_EQ(store.size(), capSamples);

    expectWholeSpan(analyseChordSamples(store, QStringLiteral("hour.flac")), 0, "C", 2400.0);
    EXPECT_EQ(log.lines(), (QStringList{"[NOTE_DEBUG] analysis sample limit reached for hour.flac",
                                        "[NOTE_DEBUG] chord segments=1 file=hour.flac"}));
}

TEST(ChordSignals, CallsOnSeveralThreadsAtOnceAgree)
{
    const std::vector<float> signal =
        progression({{0, false, 2.0}, {9, true, 2.0}, {5, false, 2.0}, {7, false, 2.0}});
    const QList<LTChordSegment> alone = analyse(signal);
    ASSERT_EQ(alone.size(), 4);
    std::vector<QList<LTChordSegment>> results(3);
    std::vector<std::thread> threads;
    for (auto& result : results)
        threads.emplace_back([&result, &signal] { result = analyse(signal); });
    for (auto& t : threads)
        t.join();
    for (const auto& result : results)
        EXPECT_EQ(result, alone);
}
