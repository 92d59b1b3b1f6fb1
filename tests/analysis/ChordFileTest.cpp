#include "ChordTestSignals.h"

#include "common/AudioFixtures.h"
#include "common/LogCapture.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace chordtest;

namespace {

class LTChordEstimatorTest : public ::testing::Test {
protected:
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QUrl url(const QString& name) const { return QUrl::fromLocalFile(path(name)); }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(LTChordEstimatorTest, AFileGivesTheSegmentsOfItsChannelsMeanWithProgressToOneAndNothingOnACancel)
{
    // Each channel blends the song with an F# minor triad; their mean is the song.
    const std::vector<float> song = progression({{0, false, 2.0}, {9, true, 2.0}, {5, false, 2.0}}, 44100.0);
    const std::vector<float> other = triad({6, true, 6.0}, 44100.0, 0.15f);
    ASSERT_TRUE(fixtures::writeWav(path("song.wav"), fixtures::synthesise(44100, 2, int64_t(song.size()), [&](int64_t f, int c) {
        return c == 0 ? song[size_t(f)] + other[size_t(f)] : song[size_t(f)] - other[size_t(f)];
    }), true));
    LogCapture log;
    std::vector<double> reports;
    const QList<LTChordSegment> segments =
        LTChordEstimator::estimateChordSegmentsForFileURL(url("song.wav"), [&](double f) { reports.push_back(f); });
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] chord segments=3 file=song.wav"});
    ASSERT_EQ(segments.size(), 3);
    EXPECT_EQ(segments.last().midi, 5);
    EXPECT_EQ(segments.last().endSec, 6.0);
    ASSERT_GE(reports.size(), 2u);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(reports.back(), 1.0);

    log.clear();
    std::atomic<bool> cancel{true};
    QString failure = QStringLiteral("stale");
    EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(url("song.wav"), {}, &cancel, &failure).isEmpty());
    EXPECT_FALSE(log.anyStartsWith("[NOTE_DEBUG]"));
    EXPECT_TRUE(failure.isEmpty()) << "a cancel is no failure of the file";
}

TEST_F(LTChordEstimatorTest, FailuresGiveAnEmptyListWithTheirLine)
{
    // A WAV whose header promises more than the file holds fails while reading.
    ASSERT_TRUE(fixtures::writeWav(path("cut.wav"), fixtures::synthesise(22050, 1, 66150, [](int64_t f, int) { return float(f % 50) / 100.0f; })));
    ASSERT_TRUE(QFile::resize(path("cut.wav"), QFileInfo(path("cut.wav")).size() / 2 + 3));
    LogCapture log;
    struct Case { QUrl url; QString line, failure; };
    for (const Case& c : {Case{url("missing.wav"), "cannot open file for note analysis: " + url("missing.wav").toString() + " error=no such file", "no such file"},
                          Case{url("cut.wav"), "read error during note analysis: ", "the file is damaged or truncated"}}) {
        log.clear();
        QString failure;
        EXPECT_TRUE(LTChordEstimator::estimateChordSegmentsForFileURL(c.url, {}, nullptr, &failure).isEmpty()) << c.url.toString().toStdString();
        EXPECT_TRUE(log.anyStartsWith("[NOTE_DEBUG] " + c.line)) << log.lines().join('\n').toStdString();
        EXPECT_EQ(failure, c.failure);
    }
}
