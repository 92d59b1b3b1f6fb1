#include "audio/AudioFileReader.h"
#include "audio/DataChunk.h"

#include "common/AudioFixtures.h"
#include "common/LogCapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <thread>

using fixtures::Signal;

namespace {

constexpr int kRate = 44100;
constexpr int64_t kFrames = 110250; // 2.5 s

// Left: a rising chirp, whose autocorrelation has one sharp peak, so a decoder that shifts the
// audio by even one codec frame is caught. Right: a steady tone, so swapped channels are caught.
// Clicks on both, at frames no codec frame boundary would hide.
Signal makeSource(int rate, int channels, int64_t frames)
{
    return fixtures::synthesise(rate, channels, frames, [=](int64_t f, int c) {
        const double t = double(f) / rate;
        double v = c == 0 ? 0.45 * std::sin(2.0 * M_PI * (300.0 * t + 500.0 * t * t))
                          : 0.45 * std::sin(2.0 * M_PI * 660.0 * t);
        if (f == frames / 5 + 17 * c || f == frames / 2 + 3 || f == frames * 4 / 5 - 29 * c)
            v += c == 0 ? 0.5 : -0.5;
        return float(v);
    });
}

struct Decoded {
    bool opened = false;
    bool ok = false;
    AudioStreamInfo info;
    Signal signal;
    int64_t largestBlock = 0;
    int blocks = 0;
};

Decoded decodeFile(const QString& path)
{
    Decoded out;
    AudioFileReader reader;
    out.opened = reader.open(path);
    if (!out.opened)
        return out;
    out.info = reader.info();
    out.signal.sampleRate = int(out.info.sampleRate);
    out.signal.channels = out.info.channelCount;
    out.ok = reader.decode([&](const float* data, int64_t frames) {
        EXPECT_GT(frames, 0);
        out.largestBlock = std::max(out.largestBlock, frames);
        ++out.blocks;
        out.signal.interleaved.insert(out.signal.interleaved.end(), data, data + frames * out.info.channelCount);
        return true;
    });
    EXPECT_EQ(reader.decodedFrames(), out.signal.frames());
    return out;
}

double maxDifference(const Signal& a, const Signal& b)
{
    double worst = 0.0;
    const size_t n = std::min(a.interleaved.size(), b.interleaved.size());
    for (size_t i = 0; i < n; ++i)
        worst = std::max(worst, double(std::fabs(a.interleaved[i] - b.interleaved[i])));
    return worst;
}

// Correlation of one channel of `decoded` shifted by `lag` frames against `source`, over the
// middle of the signal (codec edge effects stay out).
double correlation(const Signal& source, const Signal& decoded, int channel, int64_t lag)
{
    const int64_t begin = source.frames() / 5, end = source.frames() * 4 / 5;
    double sx = 0, sy = 0, sxy = 0;
    for (int64_t f = begin; f < end; ++f) {
        const double x = source.at(f, channel), y = decoded.at(f + lag, channel);
        sx += x * x;
        sy += y * y;
        sxy += x * y;
    }
    return sxy / std::sqrt(sx * sy);
}

// Error energy against signal energy, in dB, at lag 0 and over the whole length.
double signalToErrorDb(const Signal& source, const Signal& decoded)
{
    double signal = 0, error = 0;
    for (size_t i = 0; i < source.interleaved.size(); ++i) {
        signal += double(source.interleaved[i]) * source.interleaved[i];
        const double e = double(source.interleaved[i]) - decoded.interleaved[i];
        error += e * e;
    }
    return 10.0 * std::log10(signal / error);
}

int64_t bestLag(const Signal& source, const Signal& decoded, int channel, int64_t range)
{
    int64_t best = 0;
    double bestValue = -2.0;
    for (int64_t lag = -range; lag <= range; ++lag) {
        const double value = correlation(source, decoded, channel, lag);
        if (value > bestValue) {
            bestValue = value;
            best = lag;
        }
    }
    return best;
}

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class AudioFileReaderTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_dir = new QTemporaryDir(QDir::tempPath() + QStringLiteral("/lento-decode-XXXXXX"));
        s_source = new Signal(makeSource(kRate, 2, kFrames));
        ASSERT_TRUE(fixtures::writeWav(path("source.wav"), *s_source));
        ASSERT_TRUE(fixtures::writeWav(path("source-float.wav"), *s_source, true));
        s_pcm16 = new Signal;
        ASSERT_TRUE(fixtures::readSoundFile(path("source.wav"), *s_pcm16));
    }
    static void TearDownTestSuite()
    {
        delete s_pcm16;
        delete s_source;
        delete s_dir;
    }

    static QString path(const QString& name) { return s_dir->filePath(name); }

    // `name` made from the 16-bit source WAV by ffmpeg with `args`, once per suite.
    static QString converted(const QString& name, const QStringList& args = {},
                             const QString& from = QStringLiteral("source.wav"))
    {
        const QString out = path(name);
        if (!QFile::exists(out)) {
            EXPECT_TRUE(fixtures::ffmpegConvert(path(from), out, args)) << name.toStdString();
        }
        return out;
    }

    static inline QTemporaryDir* s_dir = nullptr;
    static inline Signal* s_source = nullptr;
    static inline Signal* s_pcm16 = nullptr;
};

struct Lossless {
    const char* name;
    QStringList args;
};

TEST_F(AudioFileReaderTest, LosslessTypesDecodeToTheSourceSamplesAndLength)
{
    const std::vector<Lossless> types = {
        {"copy.wav", {}},
        {"copy.aiff", {}},
        {"copy.aif", {}},
        {"copy.caf", {}},
        {"copy.flac", {}},
        {"alac.m4a", {"-c:a", "alac"}},
        {"alac.caf", {"-c:a", "alac"}},
        {"pcm24.wav", {"-c:a", "pcm_s24le"}},
    };
    for (const Lossless& type : types) {
        SCOPED_TRACE(type.name);
        const Decoded d = decodeFile(converted(QString::fromLatin1(type.name), type.args));
        ASSERT_TRUE(d.ok);
        EXPECT_EQ(d.info.sampleRate, kRate);
        EXPECT_EQ(d.info.channelCount, 2);
        EXPECT_EQ(d.signal.frames(), kFrames);
        // 16-bit samples reach float as x / 32768 on both paths: no rounding may creep in.
        EXPECT_EQ(maxDifference(d.signal, *s_pcm16), 0.0);
        EXPECT_LE(d.largestBlock, 8192);
    }
}

TEST_F(AudioFileReaderTest, FloatWavIsBitExact)
{
    const Decoded d = decodeFile(path("source-float.wav"));
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(d.info.codecName, QStringLiteral("pcm_f32le"));
    EXPECT_EQ(d.signal.frames(), kFrames);
    EXPECT_EQ(maxDifference(d.signal, *s_source), 0.0);
}

struct Lossy {
    const char* name;
    QStringList args;
    const char* codec;
    int64_t lengthSlack; // frames the decoded length may differ from the source's
};

// Each lossy type must keep the source's exact length, put every sample where it was (the
// correlation peaks at lag 0, not one codec frame early or late), keep the channels apart, and stay
// within 20 dB of the source: at the encoders' default rates (128 kb/s and up for MP3 and AAC, q3
// Vorbis, 96 kb/s Opus) a test signal of two tones decodes 25 dB or more above its error, while a
// shift of even a few samples would bring the chirp's error level to the signal's.
TEST_F(AudioFileReaderTest, LossyTypesKeepTheExactLengthAndAlignment)
{
    const std::vector<Lossy> types = {
        {"lame.mp3", {}, "mp3float", 0},
        {"aac.m4a", {"-c:a", "aac"}, "aac", 0},
        {"aac.m4b", {"-c:a", "aac"}, "aac", 0},
        {"vorbis.ogg", {"-c:a", "libvorbis"}, "vorbis", 0},
    };
    for (const Lossy& type : types) {
        SCOPED_TRACE(type.name);
        const Decoded d = decodeFile(converted(QString::fromLatin1(type.name), type.args));
        ASSERT_TRUE(d.ok);
        EXPECT_EQ(d.info.codecName, QString::fromLatin1(type.codec));
        EXPECT_EQ(d.info.sampleRate, kRate);
        EXPECT_EQ(d.info.channelCount, 2);
        ASSERT_EQ(d.signal.frames(), kFrames);
        EXPECT_EQ(bestLag(*s_source, d.signal, 0, 1200), 0);
        EXPECT_GT(correlation(*s_source, d.signal, 0, 0), 0.99);
        EXPECT_GT(correlation(*s_source, d.signal, 1, 0), 0.99);
        EXPECT_GT(signalToErrorDb(*s_source, d.signal), 20.0);
    }
}

// Opus runs at 48 kHz only; its length is kept to the frame here too, though its stream states only
// the pre-skip, so a codec frame (960) is what the format promises.
TEST_F(AudioFileReaderTest, OpusKeepsItsLengthWithinACodecFrame)
{
    const Signal source = makeSource(48000, 2, 120000);
    ASSERT_TRUE(fixtures::writeWav(path("source48.wav"), source));
    const Decoded d = decodeFile(converted("opus48.opus", {"-c:a", "libopus"}, "source48.wav"));
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(d.info.sampleRate, 48000);
    ASSERT_NEAR(double(d.signal.frames()), 120000.0, 960.0);
    EXPECT_EQ(bestLag(source, d.signal, 0, 1200), 0);
    EXPECT_GT(correlation(source, d.signal, 1, 0), 0.99);
}

TEST_F(AudioFileReaderTest, OtherRatesAndMonoKeepTheirFormatAndLength)
{
    struct Case {
        int rate;
        int channels;
        int64_t frames;
    };
    for (const Case& c : {Case{22050, 1, 55125}, Case{48000, 2, 130001}, Case{48000, 1, 48000}}) {
        const Signal source = makeSource(c.rate, c.channels, c.frames);
        const QString base = QStringLiteral("src-%1-%2.wav").arg(c.rate).arg(c.channels);
        ASSERT_TRUE(fixtures::writeWav(path(base), source));
        const std::vector<std::pair<QString, QStringList>> types = {
            {"wav", {}}, {"mp3", {}}, {"m4a", {}}, {"alac.m4a", {"-c:a", "alac"}}, {"m4b", {}},
            {"flac", {}}, {"caf", {}}};
        for (const auto& [ext, args] : types) {
            const QString name = QStringLiteral("out-%1-%2.%3").arg(c.rate).arg(c.channels).arg(ext);
            SCOPED_TRACE(name.toStdString());
            const Decoded d = decodeFile(converted(name, args, base));
            ASSERT_TRUE(d.ok);
            EXPECT_EQ(d.info.sampleRate, c.rate);
            EXPECT_EQ(d.info.channelCount, c.channels);
            ASSERT_EQ(d.signal.frames(), c.frames);
            EXPECT_GT(correlation(source, d.signal, 0, 0), 0.99);
        }
    }
}

TEST_F(AudioFileReaderTest, FilesThatAreNotAudioAreRefusedWithALine)
{
    std::mt19937 random(7);
    QByteArray noise(64 * 1024, Qt::Uninitialized);
    for (char& b : noise)
        b = char(random());
    ASSERT_TRUE(writeBytes(path("text.wav"), "This is a note about the track, not the track.\n"));
    ASSERT_TRUE(writeBytes(path("noise.wav"), noise));
    ASSERT_TRUE(writeBytes(path("noise.mp3"), noise));
    ASSERT_TRUE(writeBytes(path("empty.wav"), {}));
    for (const char* name : {"text.wav", "noise.wav", "noise.mp3", "empty.wav", "missing.wav"}) {
        SCOPED_TRACE(name);
        LogCapture log;
        AudioFileReader reader;
        const QString file = path(QString::fromLatin1(name));
        const bool opened = reader.open(file);
        EXPECT_FALSE(opened && reader.decode([](const float*, int64_t) { return true; }));
        ASSERT_EQ(log.lines().size(), 1);
        EXPECT_TRUE(log.lines().first().contains(QDir::toNativeSeparators(file))) << log.lines().first().toStdString();
    }
}

struct Damaged {
    bool refused;
    QStringList lines;
};

Damaged decodeDamaged(const QString& path)
{
    LogCapture log;
    AudioFileReader reader;
    const bool ok = reader.open(path) && reader.decode([](const float*, int64_t) { return true; });
    return {!ok, log.lines()};
}

// A file cut in the middle of a packet shows a short packet; one cut between packets (the PCM
// demuxers read 4,096 bytes at a time) is caught only by comparing with what the header states.
TEST_F(AudioFileReaderTest, TruncatedFilesOfEveryFamilyFail)
{
    struct Case {
        const char* from;
        QStringList args;
        const char* name;
        const char* dataChunk = nullptr; // cut at a packet boundary after this chunk's header
        int headerSize = 0;
    };
    const std::vector<Case> cases = {
        {"copy.wav", {}, "cut.wav"},
        {"copy.wav", {}, "cut-between-packets.wav", "data", 8},
        {"copy.aiff", {}, "cut-between-packets.aiff", "SSND", 16},
        {"copy.caf", {}, "cut.caf"},
        {"copy.caf", {}, "cut-between-packets.caf", "data", 16},
        {"lame.mp3", {}, "cut.mp3"},
        {"copy.flac", {}, "cut.flac"},
        {"aac.m4a", {}, "cut.m4a"}, // index at the end: lost
        {"faststart.m4a", {"-c:a", "aac", "-movflags", "+faststart"}, "cut-faststart.m4a"},
        {"faststart-alac.m4a", {"-c:a", "alac", "-movflags", "+faststart"}, "cut-faststart-alac.m4a"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QByteArray whole = readBytes(converted(QString::fromLatin1(c.from), c.args));
        ASSERT_FALSE(whole.isEmpty());
        qint64 size = whole.size() * 6 / 10;
        if (c.dataChunk) {
            const qint64 data = whole.indexOf(c.dataChunk) + c.headerSize;
            ASSERT_GT(data, c.headerSize);
            size = data + (size - data) / 4096 * 4096;
        }
        ASSERT_TRUE(writeBytes(path(QString::fromLatin1(c.name)), whole.left(size)));
        const Damaged result = decodeDamaged(path(QString::fromLatin1(c.name)));
        EXPECT_TRUE(result.refused);
        ASSERT_EQ(result.lines.size(), result.refused ? 1 : 0);
        if (result.refused) {
            EXPECT_TRUE(result.lines.first().startsWith(QStringLiteral("Could not open audio file"))
                        || result.lines.first().contains(QStringLiteral("is truncated or corrupt")))
                << result.lines.first().toStdString();
        }
    }
}

TEST_F(AudioFileReaderTest, CorruptDataFailsInsteadOfPlayingGarbage)
{
    for (const char* name : {"copy.flac", "lame.mp3", "aac.m4a"}) {
        SCOPED_TRACE(name);
        QByteArray bytes = readBytes(converted(QString::fromLatin1(name)));
        ASSERT_GT(bytes.size(), 30000);
        for (int i = 0; i < 600; ++i)
            bytes[20000 + i] = "GARBAGE"[i % 7];
        const QString damaged = path(QStringLiteral("garbled-") + QString::fromLatin1(name));
        ASSERT_TRUE(writeBytes(damaged, bytes));
        const Damaged result = decodeDamaged(damaged);
        EXPECT_TRUE(result.refused);
        EXPECT_EQ(result.lines.size(), result.refused ? 1 : 0);
        if (result.refused) {
            EXPECT_TRUE(result.lines.first().contains(QStringLiteral("is truncated or corrupt")))
                << result.lines.first().toStdString();
        }
    }
}

TEST(DataChunk, ComparesTheStatedDataSizeWithTheFile)
{
    QTemporaryDir dir;
    const QString wav = dir.filePath("a.wav");
    ASSERT_TRUE(fixtures::writeWav(wav, makeSource(8000, 1, 1000)));
    EXPECT_FALSE(DataChunk::isShorterThanDeclared(wav));
    QByteArray bytes = readBytes(wav);
    const int data = bytes.indexOf("data");
    ASSERT_GT(data, 0);

    ASSERT_TRUE(writeBytes(wav, bytes.left(bytes.size() - 1)));
    EXPECT_TRUE(DataChunk::isShorterThanDeclared(wav));

    // A stream written without knowing its end states "unknown" rather than a size.
    bytes.replace(data + 4, 4, QByteArray(4, char(0xFF)));
    ASSERT_TRUE(writeBytes(wav, bytes.left(bytes.size() - 100)));
    EXPECT_FALSE(DataChunk::isShorterThanDeclared(wav));

    const QString text = dir.filePath("b.wav");
    ASSERT_TRUE(writeBytes(text, "RIFF"));
    EXPECT_FALSE(DataChunk::isShorterThanDeclared(text));
}

TEST_F(AudioFileReaderTest, CancelFromTheSinkStopsAfterTheFirstBlock)
{
    AudioFileReader reader;
    ASSERT_TRUE(reader.open(converted("copy.flac")));
    std::atomic<bool> cancel{false};
    int blocks = 0;
    int64_t firstBlock = 0;
    LogCapture log;
    const bool ok = reader.decode(
        [&](const float*, int64_t frames) {
            ++blocks;
            firstBlock = frames;
            cancel = true;
            return true;
        },
        &cancel);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(reader.wasCancelled());
    EXPECT_EQ(blocks, 1);
    EXPECT_EQ(reader.decodedFrames(), firstBlock);
    EXPECT_EQ(log.lines().size(), 1);

    // The same reader decodes again from the start, whole.
    cancel = false;
    int64_t frames = 0;
    EXPECT_TRUE(reader.decode([&](const float*, int64_t n) { frames += n; return true; }, &cancel));
    EXPECT_FALSE(reader.wasCancelled());
    EXPECT_EQ(frames, kFrames);
    EXPECT_EQ(reader.decodedFrames(), kFrames);
}

TEST_F(AudioFileReaderTest, ASinkThatRefusesStopsTheDecodeWithoutACancel)
{
    AudioFileReader reader;
    ASSERT_TRUE(reader.open(converted("lame.mp3")));
    int blocks = 0;
    EXPECT_FALSE(reader.decode([&](const float*, int64_t) { return ++blocks < 3; }));
    EXPECT_EQ(blocks, 3);
    EXPECT_FALSE(reader.wasCancelled());
}

TEST_F(AudioFileReaderTest, ProgressRisesSteadilyToTheEnd)
{
    for (const char* name : {"copy.wav", "lame.mp3", "aac.m4a", "copy.flac", "vorbis.ogg"}) {
        SCOPED_TRACE(name);
        AudioFileReader reader;
        ASSERT_TRUE(reader.open(converted(QString::fromLatin1(name))));
        std::vector<double> seen;
        int64_t frames = 0;
        double atHalf = -1.0;
        ASSERT_TRUE(reader.decode(
            [&](const float*, int64_t n) {
                frames += n;
                if (atHalf < 0 && frames >= kFrames / 2)
                    atHalf = seen.empty() ? 0.0 : seen.back();
                return true;
            },
            nullptr, [&](double f) { seen.push_back(f); }));
        ASSERT_GE(seen.size(), 5u);
        EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
        EXPECT_GE(seen.front(), 0.0);
        EXPECT_DOUBLE_EQ(seen.back(), 1.0);
        EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end()) << "a report repeated";
        // Halfway through the audio the reports stand near halfway through the file.
        EXPECT_NEAR(atHalf, 0.5, 0.2);
    }
}

TEST_F(AudioFileReaderTest, ReadersOnSeveralThreadsAgreeWithOneThread)
{
    const QStringList files = {converted("lame.mp3"), converted("aac.m4a"), converted("copy.flac"),
                               converted("vorbis.ogg")};
    std::vector<Decoded> alone;
    for (const QString& file : files)
        alone.push_back(decodeFile(file));
    std::vector<Decoded> together(size_t(files.size()) * 2);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < together.size(); ++i)
        threads.emplace_back([&, i] { together[i] = decodeFile(files[qsizetype(i % files.size())]); });
    for (std::thread& t : threads)
        t.join();
    for (size_t i = 0; i < together.size(); ++i) {
        const Decoded& expected = alone[i % alone.size()];
        ASSERT_TRUE(together[i].ok);
        EXPECT_EQ(together[i].signal.interleaved, expected.signal.interleaved) << i;
    }
}

TEST_F(AudioFileReaderTest, DecodeWithoutOpenFails)
{
    LogCapture log;
    AudioFileReader reader;
    EXPECT_FALSE(reader.decode([](const float*, int64_t) { return true; }));
    EXPECT_EQ(reader.decodedFrames(), 0);
    EXPECT_EQ(log.lines().size(), 1);
}

} // namespace
