#include "common/AudioFixtures.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// A triad of sines with two harmonics each, at MIDI notes `notes`.
fixtures::Signal triad(std::initializer_list<int> notes, double seconds)
{
    std::vector<double> hz;
    for (int n : notes)
        hz.push_back(440.0 * std::pow(2.0, (n - 69) / 12.0));
    return fixtures::synthesise(22050, 1, int64_t(seconds * 22050), [hz](int64_t f, int) {
        double v = 0.0;
        for (double h : hz)
            for (int k = 1; k <= 3; ++k)
                v += std::sin(2 * M_PI * h * k * double(f) / 22050.0) / (k * 8.0);
        return float(v);
    });
}

} // namespace

TEST(ChordsCommand, PrintsTheSegmentsAsAJsonArrayAndNothingElse)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("a-minor.wav");
    ASSERT_TRUE(fixtures::writeWav(path, triad({57, 60, 64}, 4.0)));
    const fixtures::LentoRun r = fixtures::runLento({"--chords", path});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(r.out, &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << r.out.constData();
    ASSERT_TRUE(doc.isArray());
    ASSERT_EQ(doc.array().size(), 1);
    const QJsonObject segment = doc.array().at(0).toObject();
    EXPECT_EQ(segment.keys(), (QStringList{"confidence", "endSec", "frequencyHz", "midi", "noteName", "startSec"}));
    EXPECT_EQ(segment["noteName"].toString(), "Am");
    EXPECT_EQ(segment["midi"].toInt(), 21);
    EXPECT_EQ(segment["frequencyHz"].toDouble(), 0.0);
    EXPECT_GT(segment["endSec"].toDouble(), 3.0);

    const fixtures::LentoRun withProgress = fixtures::runLento({"--chords", path, "--progress"});
    EXPECT_EQ(withProgress.out, r.out) << "progress goes to stderr only";
    EXPECT_TRUE(withProgress.err.contains("%"));
}

TEST(ChordsCommand, SilenceGivesAnEmptyArray)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("silence.wav");
    ASSERT_TRUE(fixtures::writeWav(path, fixtures::synthesise(22050, 2, 22050 * 2, [](int64_t, int) { return 0.0f; })));
    const fixtures::LentoRun r = fixtures::runLento({"--chords", path});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.trimmed(), "[]");
}

TEST(ChordsCommand, UnusableInputExitsWithTwoAndOneLine)
{
    QTemporaryDir dir;
    QFile text(dir.filePath("text.mp3"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not audio");
    text.close();
    for (const QStringList& args : {QStringList{"--chords"}, QStringList{"--chords", dir.filePath("none.wav")},
                                    QStringList{"--chords", text.fileName()}, QStringList{"--chords", "a", "b"},
                                    QStringList{"--chords", "--bogus"}}) {
        const fixtures::LentoRun r = fixtures::runLento(args);
        EXPECT_EQ(r.status, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(r.out.isEmpty());
        EXPECT_EQ(r.err.count('\n'), 1) << r.err.constData();
        EXPECT_TRUE(r.err.startsWith("lento: ")) << r.err.constData();
    }
}
