#include "audio/AudioFileReader.h"
#include "audio/DataChunk.h"

#include "common/Testing.h"

using fixtures::Signal;

namespace {

// Left: a rising chirp, whose autocorrelation has one sharp peak, so a decoder that shifts the
// audio by even one codec frame is caught. Right: a steady tone, so swapped channels are caught.
Signal makeSource(int rate, int channels, int64_t frames)
{
    return fixtures::synthesise(rate, channels, frames, [=](int64_t f, int c) {
        const double t = double(f) / rate;
        return float(c == 0 ? 0.45 * std::sin(2.0 * M_PI * (300.0 * t + 500.0 * t * t))
                            : 0.45 * std::sin(2.0 * M_PI * 660.0 * t));
    });
}

// Correlation of one channel of `decoded` shifted by `lag` against `source`, over the middle.
double correlation(const Signal& source, const Signal& decoded, int channel, int64_t lag)
{
    double sx = 0, sy = 0, sxy = 0;
    for (int64_t f = source.frames() / 5; f < source.frames() * 4 / 5; ++f) {
        const double x = source.at(f, channel), y = decoded.at(f + lag, channel);
        sx += x * x;
        sy += y * y;
        sxy += x * y;
    }
    return sxy / std::sqrt(sx * sy);
}

int64_t bestLag(const Signal& source, const Signal& decoded)
{
    int64_t best = 0;
    for (int64_t lag = -1200; lag <= 1200; ++lag)
        if (correlation(source, decoded, 0, lag) > correlation(source, decoded, 0, best))
            best = lag;
    return best;
}

QTemporaryDir& folder()
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/lento-decode-XXXXXX"));
    return dir;
}

// A file made by ffmpeg from a synthesised source of `rate` and `channels`, once per run.
QString converted(const QString& name, const QStringList& args, int rate = 44100, int channels = 2)
{
    const QString source = folder().filePath(QStringLiteral("source-%1-%2.wav").arg(rate).arg(channels)), out = folder().filePath(name);
    EXPECT_TRUE(QFile::exists(source) || fixtures::writeWav(source, makeSource(rate, channels, rate * 5 / 2)));
    EXPECT_TRUE(QFile::exists(out) || fixtures::ffmpegConvert(source, out, args)) << name.toStdString();
    return out;
}

struct Format {
    const char* name;
    QStringList args;
    int rate = 44100;
    int channels = 2;
    bool exact = false;   // 16-bit samples come back as exactly x / 32768
    int64_t slack = 0;    // frames the length may be off: Opus states only its pre-skip
};

class DecodedFormat : public ::testing::TestWithParam<Format> {};

// Every type keeps the source's rate, channels and exact length and puts every sample where it
// was: the correlation peaks at lag 0, not one codec frame early or late, and channels stay apart.
TEST_P(DecodedFormat, KeepsRateChannelsLengthAndAlignment)
{
    const Format f = GetParam();
    AudioFileReader reader;
    ASSERT_TRUE(reader.open(converted(QString::fromLatin1(f.name), f.args, f.rate, f.channels)));
    EXPECT_EQ(reader.info().sampleRate, f.rate);
    ASSERT_EQ(reader.info().channelCount, f.channels);
    Signal decoded{f.rate, f.channels, {}};
    ASSERT_TRUE(reader.decode([&](const float* data, int64_t frames) {
        decoded.interleaved.insert(decoded.interleaved.end(), data, data + frames * f.channels);
        return true;
    }));
    EXPECT_EQ(reader.decodedFrames(), decoded.frames());
    const Signal source = makeSource(f.rate, f.channels, f.rate * 5 / 2);
    ASSERT_NEAR(double(decoded.frames()), double(source.frames()), double(f.slack));
    if (f.exact) {
        Signal pcm16;
        ASSERT_TRUE(fixtures::readSoundFile(folder().filePath(QStringLiteral("source-%1-%2.wav").arg(f.rate).arg(f.channels)), pcm16));
        EXPECT_EQ(decoded.interleaved, pcm16.interleaved);
        return;
    }
    EXPECT_EQ(bestLag(source, decoded), 0);
    for (int c = 0; c < f.channels; ++c)
        EXPECT_GT(correlation(source, decoded, c, 0), 0.99) << "channel " << c;
}

INSTANTIATE_TEST_SUITE_P(
    Types, DecodedFormat,
    ::testing::Values(Format{"copy.wav", {}, 44100, 2, true}, Format{"copy.aiff", {}, 44100, 2, true},
                      Format{"copy.caf", {}, 44100, 2, true}, Format{"copy.flac", {}, 44100, 2, true},
                      Format{"alac.m4a", {"-c:a", "alac"}, 44100, 2, true}, Format{"pcm24.wav", {"-c:a", "pcm_s24le"}, 44100, 2, true},
                      Format{"lame.mp3", {}}, Format{"aac.m4a", {"-c:a", "aac"}}, Format{"aac.m4b", {"-c:a", "aac"}},
                      Format{"vorbis.ogg", {"-c:a", "libvorbis"}}, Format{"opus.opus", {"-c:a", "libopus"}, 48000, 2, false, 960},
                      Format{"mono22.mp3", {}, 22050, 1}, Format{"mono48.m4a", {}, 48000, 1}, Format{"mono48.flac", {}, 48000, 1, true},
                      Format{"f64.wav", {"-c:a", "pcm_f64le"}, 44100, 2, true}, Format{"hi.wav", {}, 96000, 2, true},
                      Format{"u8.wav", {"-c:a", "pcm_u8"}}, Format{"mulaw.wav", {"-c:a", "pcm_mulaw"}}),
    [](const auto& info) { return std::string(QString::fromLatin1(info.param.name).replace('.', '_').toLatin1()); });

// A file cut in the middle of a packet shows a short packet; one cut between packets (the PCM
// demuxers read 4,096 bytes at a time) is caught only by comparing with what the header states.
QString damaged(const char* from, const QStringList& args, const char* dataChunk, int headerSize, bool garble)
{
    QByteArray bytes = fixtures::readFile(converted(QString::fromLatin1(from), args));
    qint64 size = bytes.size() * 6 / 10;
    if (dataChunk) {
        const qint64 data = bytes.indexOf(dataChunk) + headerSize;
        size = data + (size - data) / 4096 * 4096;
    }
    if (garble) {
        size = bytes.size();
        for (int i = 0; i < 600; ++i)
            bytes[20000 + i] = "GARBAGE"[i % 7];
    }
    const QString out = folder().filePath(QStringLiteral("bad-%1-%2-%3").arg(garble).arg(dataChunk ? 1 : 0).arg(QString::fromLatin1(from)));
    EXPECT_TRUE(fixtures::writeFile(out, bytes.left(size)));
    return out;
}

TEST(AudioFileReader, FilesThatAreNotWholeAudioAreRefusedWithOneLineNamingThem)
{
    QByteArray noise(64 * 1024, Qt::Uninitialized);
    for (int i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919) ^ (i >> 3));
    const QString text = folder().filePath("text.wav"), noisy = folder().filePath("noise.mp3"), empty = folder().filePath("empty.wav");
    ASSERT_TRUE(fixtures::writeFile(text, "A note about the track.\n") && fixtures::writeFile(noisy, noise) && fixtures::writeFile(empty, {}));
    const QStringList aac = {"-c:a", "aac"};
    const QStringList files = {text, noisy, empty, folder().filePath("missing.wav"), damaged("copy.wav", {}, nullptr, 0, false),
                               damaged("copy.wav", {}, "data", 8, false), damaged("copy.aiff", {}, "SSND", 16, false),
                               damaged("copy.caf", {}, "data", 16, false), damaged("lame.mp3", {}, nullptr, 0, false),
                               damaged("copy.flac", {}, nullptr, 0, false), damaged("aac.m4a", aac, nullptr, 0, false),
                               damaged("faststart.m4a", aac + QStringList{"-movflags", "+faststart"}, nullptr, 0, false),
                               damaged("copy.flac", {}, nullptr, 0, true), damaged("aac.m4a", aac, nullptr, 0, true)};
    for (const QString& file : files) {
        SCOPED_TRACE(file.toStdString());
        LogCapture log;
        AudioFileReader reader;
        EXPECT_FALSE(reader.open(file) && reader.decode([](const float*, int64_t) { return true; }));
        ASSERT_EQ(log.lines().size(), 1);
        EXPECT_TRUE(log.lines().first().contains(QDir::toNativeSeparators(file))) << log.lines().first().toStdString();
    }
    LogCapture log;
    EXPECT_FALSE(AudioFileReader().decode([](const float*, int64_t) { return true; })) << "nothing opened";
}

TEST(DataChunk, ComparesTheStatedDataSizeWithTheFile)
{
    const QString wav = folder().filePath("chunk.wav");
    ASSERT_TRUE(fixtures::writeWav(wav, makeSource(8000, 1, 1000)));
    EXPECT_FALSE(DataChunk::isShorterThanDeclared(wav));
    QByteArray bytes = fixtures::readFile(wav);
    ASSERT_TRUE(fixtures::writeFile(wav, bytes.left(bytes.size() - 1)));
    EXPECT_TRUE(DataChunk::isShorterThanDeclared(wav));
    // A stream written without knowing its end states "unknown" rather than a size.
    bytes.replace(bytes.indexOf("data") + 4, 4, QByteArray(4, char(0xFF)));
    ASSERT_TRUE(fixtures::writeFile(wav, bytes.left(bytes.size() - 100)));
    EXPECT_FALSE(DataChunk::isShorterThanDeclared(wav));
}

TEST(AudioFileReader, ACancelOrARefusingSinkStopsAndProgressRisesToTheEnd)
{
    AudioFileReader reader;
    ASSERT_TRUE(reader.open(converted("copy.flac", {})));
    std::atomic<bool> cancel{false};
    int blocks = 0;
    {
        LogCapture log;
        EXPECT_FALSE(reader.decode([&](const float*, int64_t) { cancel = ++blocks > 0; return true; }, &cancel));
        EXPECT_TRUE(reader.wasCancelled());
        EXPECT_EQ(blocks, 1);
        EXPECT_EQ(log.lines().size(), 1) << "one line for the cancel, none for what it cut short";
    }
    EXPECT_FALSE(reader.decode([&](const float*, int64_t) { return ++blocks < 3; }));
    EXPECT_FALSE(reader.wasCancelled());
    EXPECT_EQ(blocks, 3);

    cancel = false;
    std::vector<double> seen;
    int64_t frames = 0;
    EXPECT_TRUE(reader.decode([&](const float*, int64_t n) { frames += n; return true; }, &cancel,
                              [&](double f) { seen.push_back(f); }));
    EXPECT_EQ(frames, 44100 * 5 / 2) << "decoded again from the start, whole";
    ASSERT_GE(seen.size(), 5u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end()) << "a report repeated";
    EXPECT_DOUBLE_EQ(seen.back(), 1.0);
    EXPECT_NEAR(seen[seen.size() / 2], 0.5, 0.2);
}

} // namespace
