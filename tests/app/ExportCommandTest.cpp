#include "common/AudioFixtures.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct ExportCommandTest : ::testing::Test {
    QTemporaryDir dir;
    QString input;

    void SetUp() override
    {
        input = dir.filePath("in.wav");
        // Left 440 Hz, right 660 Hz, 6 s at 22,050 Hz.
        const auto signal = fixtures::synthesise(22050, 2, 6 * 22050, [](int64_t f, int c) {
            return float(0.5 * std::sin(2 * M_PI * (c ? 660.0 : 440.0) * double(f) / 22050.0));
        });
        ASSERT_TRUE(fixtures::writeWav(input, signal));
    }

    static std::vector<float> side(const fixtures::Signal& s, int c)
    {
        std::vector<float> out(size_t(s.frames()));
        for (int64_t f = 0; f < s.frames(); ++f)
            out[size_t(f)] = s.at(f, c);
        return out;
    }

    static double frequency(const std::vector<float>& x, int rate)
    {
        int crossings = 0;
        double first = -1, last = -1;
        for (size_t i = size_t(rate) / 4; i + 1 < x.size() - size_t(rate) / 4; ++i) {
            if (x[i] <= 0.0f && x[i + 1] > 0.0f) {
                const double at = double(i) + double(-x[i]) / double(x[i + 1] - x[i]);
                if (first < 0)
                    first = at;
                last = at;
                ++crossings;
            }
        }
        return crossings > 1 ? (crossings - 1) * rate / (last - first) : 0.0;
    }

    static double rms(const std::vector<float>& x)
    {
        double sum = 0;
        for (float v : x)
            sum += double(v) * v;
        return std::sqrt(sum / double(x.size()));
    }
};

} // namespace

TEST_F(ExportCommandTest, RendersTheRangeWithItsSettingsIntoA16BitWav)
{
    const QString out = dir.filePath("out.wav");
    const fixtures::LentoRun r = fixtures::runLento({"--export", input, "-o", out, "--from", "1", "--to", "3", "--speed", "0.5", "--cents",
                            "1200", "--solo", "right", "--volume", "0.5"});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    EXPECT_TRUE(r.out.isEmpty());
    EXPECT_TRUE(r.err.contains("exporting: ")) << "progress lines when stderr is not a terminal";
    fixtures::Signal written;
    ASSERT_TRUE(fixtures::readSoundFile(out, written));
    EXPECT_EQ(written.sampleRate, 22050);
    EXPECT_EQ(written.channels, 2);
    // Two seconds of range at half speed.
    EXPECT_NEAR(double(written.frames()), 4.0 * 22050, 4096.0);
    for (int c : {0, 1}) {
        EXPECT_NEAR(frequency(side(written, c), 22050), 1320.0, 2.0) << "right channel an octave up on " << c;
        EXPECT_NEAR(rms(side(written, c)), 0.25 / std::sqrt(2.0), 0.03) << c;
    }
}

TEST_F(ExportCommandTest, LoopsRepeatTheRange)
{
    const QString out = dir.filePath("loops.wav");
    const fixtures::LentoRun r = fixtures::runLento({"--export", input, "-o", out, "--from", "0", "--to", "1", "--loops", "3"});
    ASSERT_EQ(r.status, 0) << r.err.constData();
    fixtures::Signal written;
    ASSERT_TRUE(fixtures::readSoundFile(out, written));
    EXPECT_EQ(written.frames(), 3 * 22050);
}

TEST_F(ExportCommandTest, BadArgumentsAndFilesExitWithTwoAndLeaveNothingBehind)
{
    QFile text(dir.filePath("text.wav"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("no audio here");
    text.close();
    const QString out = dir.filePath("never.wav");
    const QList<QStringList> cases{
        {"--export", input},
        {"--export", "-o", out},
        {"--export", input, "-o", dir.filePath("out.mp3")},
        {"--export", input, "-o", out, "--speed", "2"},
        {"--export", input, "-o", out, "--speed", "fast"},
        {"--export", input, "-o", out, "--solo", "middle"},
        {"--export", input, "-o", out, "--from", "3", "--to", "2"},
        {"--export", input, "-o", out, "--volume"},
        {"--export", input, "-o", out, "--bogus", "1"},
        {"--export", dir.filePath("missing.wav"), "-o", out},
        {"--export", text.fileName(), "-o", out},
        {"--export", input, "-o", dir.filePath("no/such/dir/out.wav")},
    };
    for (const QStringList& args : cases) {
        const fixtures::LentoRun r = fixtures::runLento(args);
        EXPECT_EQ(r.status, 2) << args.join(' ').toStdString();
        EXPECT_EQ(r.err.count('\n'), 1) << args.join(' ').toStdString() << ": " << r.err.constData();
        EXPECT_TRUE(r.err.startsWith("lento: ")) << r.err.constData();
        EXPECT_FALSE(QFileInfo::exists(out)) << args.join(' ').toStdString();
    }
    EXPECT_TRUE(fixtures::runLento({"--export", input, "-o", out, "--speed", "2"}).err.contains("--speed"));
    EXPECT_TRUE(fixtures::runLento({"--export", dir.filePath("missing.wav"), "-o", out}).err.contains("missing.wav"));
}

TEST_F(ExportCommandTest, HelpListsTheExportOptions)
{
    const fixtures::LentoRun r = fixtures::runLento({"--help"});
    EXPECT_EQ(r.status, 0);
    for (const char* option : {"--export", "--from", "--to", "--speed", "--cents", "--filter", "--solo", "--volume",
                               "--loops"})
        EXPECT_TRUE(r.out.contains(option)) << option;
}
