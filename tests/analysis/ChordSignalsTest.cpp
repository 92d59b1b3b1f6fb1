#include "ChordTestSignals.h"

#include "common/LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace chordtest;
using chordconst::kTargetRate;

TEST(ChordAnalysis, AProgressionGivesEachChordWithItsBoundaries)
{
    const std::vector<Chord> chords{{0, false, 2.0}, {9, true, 2.0},  {5, false, 2.0}, {7, false, 2.0},
                                    {4, true, 2.0},  {2, false, 2.0}, {11, true, 2.5}, {1, false, 2.0},
                                    {6, true, 1.5}};
    const QList<LTChordSegment> segments = analyse(progression(chords));
    ASSERT_EQ(segments.size(), qsizetype(chords.size()));
    double boundary = 0.0;
    for (size_t i = 0; i < chords.size(); ++i) {
        const LTChordSegment& s = segments[qsizetype(i)];
        EXPECT_EQ(s.midi, chords[i].index()) << i;
        EXPECT_NEAR(s.startSec, boundary, 0.25) << i;
        boundary += chords[i].seconds;
        EXPECT_NEAR(s.endSec, boundary, 0.25) << i;
        EXPECT_GE(s.confidence, 0.8) << i;
    }
    EXPECT_EQ(segments.last().endSec, 18.0);
}

TEST(ChordAnalysis, SilenceTooShortInputAndACancelGiveNothing)
{
    LogCapture log;
    ChordFrameTrack track;
    std::vector<double> reports;
    ChordSampleStore silence;
    collect(silence, std::vector<float>(4096 + 319 * 1024, 0.0f)); // 320 frames
    EXPECT_TRUE(analyseChordSamples(silence, "test.wav", [&](double f) { reports.push_back(f); }, nullptr, &track).isEmpty());
    EXPECT_EQ(track.labels, std::vector<int>(320, -1));
    EXPECT_EQ(reports, (std::vector<double>{0.0, 256.0 / 320.0})); // every 256 frames
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] chord segments=0 file=test.wav"});

    // 8,192 samples make five frames; one fewer is not analysed at all.
    const std::vector<float> chord = triad({7, false, 1.0});
    ChordFrameTrack shortest, tooShort;
    analyse({chord.begin(), chord.begin() + 8192}, &shortest);
    EXPECT_EQ(shortest.labels, std::vector<int>(5, 7));
    EXPECT_TRUE(analyse({chord.begin(), chord.begin() + 8191}, &tooShort).isEmpty());
    EXPECT_TRUE(tooShort.labels.empty());

    ChordSampleStore store;
    collect(store, chord);
    std::atomic<bool> cancel{true};
    EXPECT_TRUE(analyseChordSamples(store, "test.wav", {}, &cancel).isEmpty());
    EXPECT_EQ(analyseChordSamples(store, "test.wav").size(), 1);
}

TEST(ChordAnalysis, UndecidedFramesStillFeedTheWholeFileFallback)
{
    // C, E, G and a slightly weaker A: C major and A minor score within the smallest margin, so no
    // frame is decided, but the mean chroma leans to C major.
    std::vector<float> x(size_t(5 * kTargetRate));
    for (size_t n = 0; n < x.size(); ++n) {
        double v = 0.0;
        for (auto [midi, share] : {std::pair{60, 0.2525}, {64, 0.2525}, {67, 0.25}, {69, 0.245}})
            v += 0.2 * std::sqrt(share) * std::sin(2.0 * M_PI * 440.0 * std::pow(2.0, (midi - 69) / 12.0) * double(n) / kTargetRate);
        x[n] = float(v);
    }
    ChordFrameTrack track;
    const QList<LTChordSegment> segments = analyse(x, &track);
    EXPECT_EQ(track.labels, std::vector<int>(104, -1));
    EXPECT_EQ(track.voicedFrames, 104);
    EXPECT_EQ(segments, (QList<LTChordSegment>{{0.0, 5.0, 0.0, 0, "C", 0.2}}));
}

TEST(ChordAnalysis, AnHourStopsAtTheCapWithOneLine)
{
    const std::vector<float> block(8192, 0.5f);
    LogCapture log;
    ChordSampleStore store;
    ChordSampleCollector collector(kTargetRate, 1, QStringLiteral("hour.flac"), store);
    int64_t fed = 0;
    while (fed < 3600 * 22050 && collector.appendInterleaved(block.data(), int64_t(block.size())))
        fed += int64_t(block.size());
    const int64_t capSamples = chordconst::kSampleCapBytes / 4; // 2,400 s
    EXPECT_EQ(store.size(), capSamples);
    EXPECT_EQ(fed, capSamples / 8192 * 8192); // the block that reached the cap was refused
    EXPECT_FALSE(collector.appendInterleaved(block.data(), 1));
    EXPECT_EQ(store.size(), capSamples);
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] analysis sample limit reached for hour.flac"});
}
