#include "common/AudioFixtures.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct InfoCommandTest : ::testing::Test {
    QTemporaryDir dir;
    QString source;
    static constexpr int64_t sourceFrames = 110250; // 2.5 s

    void SetUp() override
    {
        source = dir.filePath("source.wav");
        // Faded in and out, so that lossy codecs have no hard edge to ring at.
        const auto signal = fixtures::synthesise(44100, 2, sourceFrames, [](int64_t f, int c) {
            const double fade = std::min({1.0, double(f) / 2205.0, double(sourceFrames - f) / 2205.0});
            return float(fade * 0.6 * std::sin(2 * M_PI * (c ? 660.0 : 440.0) * double(f) / 44100.0));
        });
        ASSERT_TRUE(fixtures::writeWav(source, signal));
    }

    QJsonObject infoOf(const QString& path)
    {
        const fixtures::LentoRun run = fixtures::runLento({"--info", path});
        EXPECT_EQ(run.status, 0) << run.err.constData();
        EXPECT_TRUE(run.err.isEmpty()) << run.err.constData();
        QJsonParseError error{};
        const QJsonDocument doc = QJsonDocument::fromJson(run.out, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << run.out.constData();
        return doc.object();
    }
};

} // namespace

TEST_F(InfoCommandTest, EveryTypeReportsTheSourcesExactLengthAndFormat)
{
    struct Type { const char* name; QStringList args; int64_t tolerance; };
    const QList<Type> types{
        {"copy.wav", {}, 0},
        {"copy.aiff", {}, 0},
        {"copy.aif", {}, 0},
        {"copy.mp3", {"-c:a", "libmp3lame", "-b:a", "192k"}, 0},
        {"aac.m4a", {"-c:a", "aac", "-b:a", "160k"}, 0},
        {"alac.m4a", {"-c:a", "alac"}, 0},
        {"book.m4b", {"-c:a", "aac", "-b:a", "128k"}, 0},
        {"copy.caf", {}, 0},
        {"copy.flac", {}, 0},
        {"copy.ogg", {"-c:a", "libvorbis"}, 0},
    };
    for (const Type& type : types) {
        const QString path = dir.filePath(type.name);
        ASSERT_TRUE(fixtures::ffmpegConvert(source, path, type.args)) << type.name;
        const QJsonObject info = infoOf(path);
        SCOPED_TRACE(type.name);
        EXPECT_EQ(info.keys(), (QStringList{"binSize", "channels", "duration", "frames", "maxY", "numBins", "path",
                                           "sampleRate"}));
        EXPECT_EQ(info["path"].toString(), path);
        EXPECT_EQ(info["sampleRate"].toDouble(), 44100.0);
        EXPECT_EQ(info["channels"].toInt(), 2);
        EXPECT_NEAR(info["frames"].toDouble(), double(sourceFrames), double(type.tolerance));
        EXPECT_NEAR(info["duration"].toDouble(), 2.5, 1e-9 + type.tolerance / 44100.0);
        // 110,250 frames need bins of 2: 55,125 of them.
        EXPECT_EQ(info["binSize"].toInt(), 2);
        EXPECT_EQ(info["numBins"].toInt(), 55125);
        // Left peaks at 0.6, so its square; lossy codecs overshoot by a few per cent.
        EXPECT_NEAR(info["maxY"].toDouble(), 0.36, 0.05);
    }
}

TEST_F(InfoCommandTest, UnusableFilesExitWithStatusTwoAndOneLine)
{
    QFile text(dir.filePath("words.wav"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not audio at all\n");
    text.close();
    const QString longFile = dir.filePath("long.wav");
    ASSERT_TRUE(fixtures::writeWav(longFile, fixtures::synthesise(10, 1, 144001, [](int64_t, int) { return 0.1f; })));

    for (const QString& path : {dir.filePath("missing.wav"), text.fileName(), longFile, dir.path()}) {
        const fixtures::LentoRun run = fixtures::runLento({"--info", path});
        EXPECT_EQ(run.status, 2) << path.toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_EQ(run.err.count('\n'), 1) << run.err.constData();
        EXPECT_TRUE(run.err.startsWith("lento: ")) << run.err.constData();
    }
    EXPECT_TRUE(fixtures::runLento({"--info", longFile}).err.contains("four hours"));
    EXPECT_TRUE(fixtures::runLento({"--info", dir.filePath("missing.wav")}).err.contains("no such file"));
}

TEST_F(InfoCommandTest, BadArgumentsAreRefusedAndHelpAndVersionAnswer)
{
    for (const QStringList& args : {QStringList{"--info"}, QStringList{"--info", source, source},
                                    QStringList{"--bogus"}, QStringList{"a.wav", "b.wav"}}) {
        const fixtures::LentoRun run = fixtures::runLento(args);
        EXPECT_EQ(run.status, 2) << args.join(' ').toStdString();
        EXPECT_EQ(run.err.count('\n'), 1) << run.err.constData();
    }
    const fixtures::LentoRun help = fixtures::runLento({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.contains("--info FILE"));
    const fixtures::LentoRun version = fixtures::runLento({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.startsWith("lento "));
}
