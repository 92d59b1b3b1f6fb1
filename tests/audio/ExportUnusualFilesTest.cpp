// `lento --export` of valid files that are unusual in their sample type, channels or rate.
#include "common/Testing.h"

namespace {

struct Unusual {
    const char* name;
    QStringList args; // ffmpeg's, from a 1.5 s stereo 44.1 kHz source
};

class ExportUnusualFile : public ::testing::TestWithParam<Unusual> {};

TEST_P(ExportUnusualFile, AtHalfSpeedKeepsRateAndChannelsWithTwiceTheFrames)
{
    QTemporaryDir dir;
    const QString source = dir.filePath("source.wav"), in = dir.filePath(QString::fromLatin1(GetParam().name)),
                  out = dir.filePath("out.wav");
    ASSERT_TRUE(fixtures::writeWav(source, fixtures::stereoSines(44100, 66150)));
    ASSERT_TRUE(fixtures::ffmpegConvert(source, in, GetParam().args));

    const fixtures::LentoRun info = fixtures::runLento({QStringLiteral("--info"), in});
    ASSERT_EQ(info.status, 0) << info.err.toStdString();
    const QJsonObject stated = QJsonDocument::fromJson(info.out).object();
    const fixtures::LentoRun run = fixtures::runLento({QStringLiteral("--export"), in, QStringLiteral("-o"), out,
                                                       QStringLiteral("--speed"), QStringLiteral("0.5")});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    fixtures::Signal written;
    ASSERT_TRUE(fixtures::readSoundFile(out, written));
    EXPECT_EQ(written.sampleRate, stated.value("sampleRate").toInt());
    EXPECT_EQ(written.channels, stated.value("channels").toInt());
    EXPECT_EQ(written.frames(), 2 * stated.value("frames").toInteger());
    float peak = 0.0f;
    for (float v : written.interleaved)
        peak = std::max(peak, std::fabs(v));
    EXPECT_GT(peak, 0.05f) << "the sound came through";
}

INSTANTIATE_TEST_SUITE_P(
    Files, ExportUnusualFile,
    ::testing::Values(Unusual{"u8.wav", {"-c:a", "pcm_u8"}}, Unusual{"s24.wav", {"-c:a", "pcm_s24le"}},
                      Unusual{"f64.wav", {"-c:a", "pcm_f64le"}}, Unusual{"mulaw.wav", {"-c:a", "pcm_mulaw"}},
                      Unusual{"adpcm.wav", {"-c:a", "adpcm_ima_wav"}},
                      Unusual{"surround.wav", {"-af", "pan=5.1|FL=c0|FR=c1|FC=c0|LFE=c1|BL=c0|BR=c1"}},
                      Unusual{"surround.flac", {"-af", "pan=5.1|FL=c0|FR=c1|FC=c0|LFE=c1|BL=c0|BR=c1"}},
                      Unusual{"hi.wav", {"-ar", "96000"}}, Unusual{"mono8k.mp3", {"-ar", "8000", "-ac", "1"}},
                      Unusual{"opus.opus", {"-c:a", "libopus"}}),
    [](const auto& info) { return std::string(QString::fromLatin1(info.param.name).replace('.', '_').toLatin1()); });

} // namespace
