#include "ChordTestSignals.h"

#include "common/AudioFixtures.h"
#include "common/LogCapture.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace chordtest;

namespace {

class LTChordEstimatorTest : public ::testing::Test {
protected:
    QUrl url(const QString& name) const { return QUrl::fromLocalFile(m_dir.filePath(name)); }
    static QList<LTChordSegment> estimate(const QUrl& url, const LTChordEstimator::Progress& progress = {})
    {
        return LTChordEstimator::estimateChordSegmentsForFileURL(url, progress);
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(LTChordEstimatorTest, AFileGivesTheSegmentsOfItsChannelsMeanWithProgressToOneAndNothingOnACancel)
{
    // Each channel blends the song with an F# minor triad; their mean is the song.
    const std::vector<float> song = progression({{0, false, 2.0}, {9, true, 2.0}, {5, false, 2.0}}, 44100.0);
    const std::vector<float> other = triad({6, true, 6.0}, 44100.0, 0.15f);
    const fixtures::Signal signal = fixtures::synthesise(44100, 2, int64_t(song.size()), [&](int64_t f, int c) {
        return c == 0 ? song[size_t(f)] + other[size_t(f)] : song[size_t(f)] - other[size_t(f)];
    });
    ASSERT_TRUE(fixtures::writeWav(m_dir.filePath("song.wav"), signal, true));
    LogCapture log;
    std::vector<double> reports;
    const QList<LTChordSegment> segments = estimate(url("song.wav"), [&](double f) { reports.push_back(f); });
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] chord segments=3 file=song.wav"});
    ASSERT_EQ(segments.size(), 3);
    EXPECT_EQ(segments.last().midi, 5);
    EXPECT_EQ(segments.last().endSec, 6.0);
    ASSERT_GE(reports.size(), 2u);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(reports.back(), 1.0);

    // The same samples fed to the analysis directly give exactly the same segments.
    ChordSampleStore store;
    ChordSampleCollector collector(44100.0, 2, QStringLiteral("song.wav"), store);
    collector.appendInterleaved(signal.interleaved.data(), signal.frames());
    EXPECT_EQ(segments, analyseChordSamples(store, QStringLiteral("song.wav")));

    log.clear();
    std::atomic<bool> cancel{true};
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(url("song.wav"), {}, &cancel).isEmpty());
    EXPECT_FALSE(log.anyStartsWith("[NOTE_DEBUG]"));
}

TEST_F(LTChordEstimatorTest, FailuresGiveAnEmptyListWithTheirLine)
{
    LogCapture log;
    EXPECT_TRUE(estimate(QUrl("https://example.org/a.wav")).isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());

    QFile text(m_dir.filePath("notes.wav"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not audio at all");
    text.close();
    for (const auto& [name, reason] : {std::pair{"missing.wav", "no such file"}, {"notes.wav", "no decodable audio stream"}}) {
        EXPECT_TRUE(estimate(url(name)).isEmpty());
        EXPECT_TRUE(log.contains("[NOTE_DEBUG] cannot open file for note analysis: " + url(name).toString() + " error=" + reason))
            << log.lines().join('\n').toStdString();
    }

    // A (mono) WAV whose header promises more than the file holds fails while reading.
    const std::vector<float> mono = triad({0, false, 3.0});
    ASSERT_TRUE(fixtures::writeWav(m_dir.filePath("whole.wav"), fixtures::synthesise(22050, 1, int64_t(mono.size()), [&](int64_t f, int) { return mono[size_t(f)]; })));
    QFile whole(m_dir.filePath("whole.wav"));
    QFile cut(m_dir.filePath("cut.wav"));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly) && cut.open(QIODevice::WriteOnly));
    cut.write(whole.read(whole.size() / 2 + 3));
    cut.close();
    log.clear();
    EXPECT_TRUE(estimate(url("cut.wav")).isEmpty());
    EXPECT_TRUE(log.anyStartsWith("[NOTE_DEBUG] read error during note analysis: ")) << log.lines().join('\n').toStdString();
    EXPECT_FALSE(log.anyStartsWith("[NOTE_DEBUG] chord segments="));
}
