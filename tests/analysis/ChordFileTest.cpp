#include "ChordTestSignals.h"

#include "common/AudioFixtures.h"
#include "common/LogCapture.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace chordtest;

namespace {

class ChordFileTest : public ::testing::Test {
protected:
    QString path(const QString& name) const { return m_dir.filePath(name); }

    static fixtures::Signal stereo(const std::vector<float>& left, const std::vector<float>& right, int rate)
    {
        return fixtures::synthesise(rate, 2, int64_t(left.size()),
                                    [&](int64_t f, int c) { return c == 0 ? left[size_t(f)] : right[size_t(f)]; });
    }

    // The samples' own analysis, fed as the decoder would but without it.
    static QList<LTChordSegment> analyseSignal(const fixtures::Signal& s, const QString& name)
    {
        ChordSampleStore store;
        ChordSampleCollector collector(s.sampleRate, s.channels, name, store);
        collector.appendInterleaved(s.interleaved.data(), s.frames());
        return analyseChordSamples(store, name);
    }

    QTemporaryDir m_dir;
};

const std::vector<Chord> kSong{{0, false, 2.0}, {9, true, 2.0}, {5, false, 2.0}, {7, false, 2.0},
                               {4, true, 2.0},  {2, false, 2.0}, {11, true, 2.0}, {10, false, 2.0}};

} // namespace

TEST_F(ChordFileTest, FileGivesTheSameSegmentsAsItsSamples)
{
    const std::vector<float> song = progression(kSong, 44100.0);
    const fixtures::Signal signal = stereo(song, song, 44100);
    ASSERT_TRUE(fixtures::writeWav(path("song.wav"), signal, true));
    LogCapture log;
    const QList<LTChordSegment> segments = LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path("song.wav")));
    EXPECT_EQ(log.lines().join('\n').toStdString(), "[NOTE_DEBUG] chord segments=8 file=song.wav");
    ASSERT_EQ(segments.size(), qsizetype(kSong.size()));
    EXPECT_EQ(segments, analyseSignal(signal, "song.wav"));
    EXPECT_EQ(segments.last().endSec, 16.0);
}

TEST_F(ChordFileTest, StereoChannelsThatDifferAreAnalysedAsTheirMean)
{
    // C major plus and minus an F# minor triad: each channel is a blend, the mean is pure C.
    const std::vector<float> c = triad({0, false, 6.0}, 48000.0);
    std::vector<float> other = triad({6, true, 6.0}, 48000.0, 0.15f);
    std::vector<float> left(c.size()), right(c.size());
    for (size_t f = 0; f < c.size(); ++f) {
        left[f] = c[f] + other[f];
        right[f] = c[f] - other[f];
    }
    ASSERT_TRUE(fixtures::writeWav(path("wide.wav"), stereo(left, right, 48000), true));
    const QList<LTChordSegment> segments = LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path("wide.wav")));
    ASSERT_EQ(segments.size(), 1);
    EXPECT_EQ(segments[0].noteName, "C");
    EXPECT_EQ(segments[0].startSec, 0.0);
    EXPECT_NEAR(segments[0].endSec, 6.0, 2.0 / 22050.0); // 48,000 / 22,050 frames per kept sample
}

TEST_F(ChordFileTest, CompressedCopiesAgreeWithTheirSourceWithinOneFrame)
{
    const std::vector<float> song = progression(kSong, 44100.0);
    ASSERT_TRUE(fixtures::writeWav(path("source.wav"), stereo(song, song, 44100)));
    ASSERT_TRUE(fixtures::ffmpegConvert(path("source.wav"), path("copy.mp3"), {"-c:a", "libmp3lame", "-b:a", "192k"}));
    ASSERT_TRUE(fixtures::ffmpegConvert(path("source.wav"), path("copy.m4a"), {"-c:a", "aac", "-b:a", "192k"}));
    const auto source = LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path("source.wav")));
    ASSERT_EQ(source.size(), qsizetype(kSong.size()));
    const double frameTime = chordconst::kFrameSize / chordconst::kTargetRate;
    for (const char* name : {"copy.mp3", "copy.m4a"}) {
        SCOPED_TRACE(name);
        const auto copy = LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path(name)));
        ASSERT_EQ(copy.size(), source.size());
        for (qsizetype i = 0; i < copy.size(); ++i) {
            EXPECT_EQ(copy[i].midi, source[i].midi) << i;
            EXPECT_NEAR(copy[i].startSec, source[i].startSec, frameTime) << i;
            EXPECT_NEAR(copy[i].endSec, source[i].endSec, frameTime) << i;
        }
    }
}

TEST_F(ChordFileTest, FailuresGiveAnEmptyListWithTheirLine)
{
    LogCapture log;
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(QUrl("https://example.org/a.wav")).isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());

    const QUrl missing = QUrl::fromLocalFile(path("missing.wav"));
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(missing).isEmpty());
    EXPECT_TRUE(log.contains("[NOTE_DEBUG] cannot open file for note analysis: " + missing.toString() + " error=no such file"))
        << log.lines().join('\n').toStdString();

    // A WAV whose header promises more than the file holds fails while reading.
    const std::vector<float> song = triad({0, false, 3.0});
    ASSERT_TRUE(fixtures::writeWav(path("whole.wav"), stereo(song, song, 22050)));
    QFile whole(path("whole.wav"));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    QFile cut(path("cut.wav"));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(whole.read(whole.size() / 2 + 3));
    cut.close();
    log.clear();
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(QUrl::fromLocalFile(path("cut.wav"))).isEmpty());
    EXPECT_TRUE(log.anyStartsWith("[NOTE_DEBUG] read error during note analysis: ")) << log.lines().join('\n').toStdString();
    EXPECT_FALSE(log.anyStartsWith("[NOTE_DEBUG] chord segments="));
}

TEST_F(ChordFileTest, CancelGivesNothingAndProgressReachesOne)
{
    const std::vector<float> song = triad({2, false, 4.0});
    ASSERT_TRUE(fixtures::writeWav(path("d.wav"), stereo(song, song, 22050)));
    const QUrl url = QUrl::fromLocalFile(path("d.wav"));
    std::vector<double> reports;
    EXPECT_EQ(LTChordEstimator::estimateChordSegmentsForFileURL(url, [&](double f) { reports.push_back(f); }).size(), 1);
    ASSERT_FALSE(reports.empty());
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(reports.back(), 1.0);

    LogCapture log;
    std::atomic<bool> cancel{true};
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(url, {}, &cancel).isEmpty());
    EXPECT_FALSE(log.anyStartsWith("[NOTE_DEBUG]"));
}
