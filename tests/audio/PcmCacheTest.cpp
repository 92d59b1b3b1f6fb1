#include "audio/PcmCache.h"

#include "audio/AudioFileReader.h"
#include "common/AudioFixtures.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

namespace {

// A value no other (frame, channel) has, exact in float.
float sampleAt(int64_t frame, int channel)
{
    return float(frame * 8 + channel) * 0.25f;
}

std::vector<float> interleavedFrames(int64_t first, int64_t count, int channels)
{
    std::vector<float> out(size_t(count * channels));
    for (int64_t f = 0; f < count; ++f)
        for (int c = 0; c < channels; ++c)
            out[size_t(f * channels + c)] = sampleAt(first + f, c);
    return out;
}

// Appends frames 0..total in blocks of the given sizes, cycling through them.
std::unique_ptr<PcmCache> filledCache(int channels, int64_t total, const std::vector<int64_t>& blockSizes)
{
    QString error;
    auto cache = PcmCache::create(channels, 44100.0, &error);
    EXPECT_TRUE(cache) << error.toStdString();
    if (!cache)
        return nullptr;
    size_t next = 0;
    for (int64_t done = 0; done < total;) {
        const int64_t n = std::min(blockSizes[next++ % blockSizes.size()], total - done);
        const std::vector<float> block = interleavedFrames(done, n, channels);
        EXPECT_TRUE(cache->append(block.data(), n));
        done += n;
    }
    return cache;
}

QStringList cacheFolderEntries()
{
    return QDir(PcmCache::folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

TEST(PcmCache, InterleavedAppendsBecomeContiguousChannels)
{
    // Odd sizes that straddle the internal buffer's edges in every way.
    const int64_t total = 200003;
    auto cache = filledCache(3, total, {1, 7, 4093, 65537, 2, 31999});
    ASSERT_TRUE(cache);
    EXPECT_EQ(cache->channel(0), nullptr) << "no samples before finish()";
    ASSERT_TRUE(cache->finish());
    EXPECT_EQ(cache->channelCount(), 3);
    EXPECT_EQ(cache->sampleRate(), 44100.0);
    ASSERT_EQ(cache->frameCount(), total);
    for (int c = 0; c < 3; ++c) {
        const float* samples = cache->channel(c);
        ASSERT_NE(samples, nullptr);
        int64_t wrong = 0;
        for (int64_t f = 0; f < total; ++f)
            wrong += samples[f] != sampleAt(f, c);
        EXPECT_EQ(wrong, 0) << "channel " << c;
    }
    EXPECT_EQ(cache->channel(3), nullptr);
}

TEST(PcmCache, ReadCopiesExactRangesAndClampsAtTheEnd)
{
    const int64_t total = 70001;
    auto cache = filledCache(2, total, {999});
    ASSERT_TRUE(cache);
    std::vector<float> left(100, -1.0f), right(100, -1.0f);
    float* out[] = {left.data(), right.data()};
    EXPECT_EQ(cache->read(0, 10, out), 0) << "nothing to read before finish()";
    ASSERT_TRUE(cache->finish());

    const auto expectFrames = [&](int64_t start, int64_t count) {
        for (int64_t i = 0; i < count; ++i) {
            EXPECT_EQ(left[size_t(i)], sampleAt(start + i, 0)) << start + i;
            EXPECT_EQ(right[size_t(i)], sampleAt(start + i, 1)) << start + i;
        }
    };
    ASSERT_EQ(cache->read(0, 1, out), 1);
    expectFrames(0, 1);
    EXPECT_EQ(left[1], -1.0f) << "wrote past the count";
    ASSERT_EQ(cache->read(total - 1, 1, out), 1);
    expectFrames(total - 1, 1);
    ASSERT_EQ(cache->read(65530, 20, out), 20); // across a write-buffer boundary
    expectFrames(65530, 20);

    std::fill(left.begin(), left.end(), -1.0f);
    ASSERT_EQ(cache->read(total - 5, 100, out), 5);
    expectFrames(total - 5, 5);
    EXPECT_EQ(left[5], -1.0f) << "a clamped read wrote past the end";

    EXPECT_EQ(cache->read(total, 10, out), 0);
    EXPECT_EQ(cache->read(-1, 10, out), 0);
    EXPECT_EQ(cache->read(10, 0, out), 0);
}

TEST(PcmCache, LeavesNothingVisibleInTheCacheFolder)
{
    auto cache = filledCache(2, 100000, {4096});
    ASSERT_TRUE(cache);
    EXPECT_TRUE(QDir(PcmCache::folder()).exists());
    EXPECT_EQ(cacheFolderEntries(), QStringList());
    ASSERT_TRUE(cache->finish());
    EXPECT_EQ(cacheFolderEntries(), QStringList());
    cache.reset();
    EXPECT_EQ(cacheFolderEntries(), QStringList());
}

// The file-size limit stands in for a full disk: writes past it fail with EFBIG.
TEST(PcmCache, AFullDiskFailsCleanly)
{
    auto cache = PcmCache::create(1, 48000.0);
    ASSERT_TRUE(cache);
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 1 << 20;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);

    const std::vector<float> block = interleavedFrames(0, 100000, 1);
    bool ok = true;
    for (int i = 0; i < 5 && ok; ++i) // 2 MB in all
        ok = cache->append(block.data(), 100000);
    const bool finished = ok && cache->finish();

    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);

    EXPECT_FALSE(finished);
    EXPECT_TRUE(cache->error().startsWith(QStringLiteral("Could not write the decoded audio to the cache")))
        << cache->error().toStdString();
    // Unusable from then on.
    EXPECT_FALSE(cache->append(block.data(), 1));
    EXPECT_FALSE(cache->finish());
    EXPECT_EQ(cache->channel(0), nullptr);
    float sample = 0;
    float* out[] = {&sample};
    EXPECT_EQ(cache->read(0, 1, out), 0);
}

TEST(PcmCache, AnEmptyTrackAndAppendsAfterFinish)
{
    auto cache = PcmCache::create(2, 22050.0);
    ASSERT_TRUE(cache);
    ASSERT_TRUE(cache->finish());
    EXPECT_EQ(cache->frameCount(), 0);
    EXPECT_EQ(cache->channel(0), nullptr);

    auto full = filledCache(1, 10, {10});
    ASSERT_TRUE(full && full->finish());
    const float more[] = {1.0f};
    EXPECT_FALSE(full->append(more, 1));
    EXPECT_FALSE(full->error().isEmpty());
    EXPECT_EQ(full->frameCount(), 10);
    EXPECT_EQ(full->channel(0)[9], sampleAt(9, 0)) << "a refused append must leave the track as it was";
}

TEST(PcmCache, RefusesWhatItCanNotHold)
{
    QString error;
    EXPECT_EQ(PcmCache::create(0, 44100.0, &error), nullptr);
    EXPECT_FALSE(error.isEmpty());

    // A cache folder whose parent is a file can not be made.
    const QByteArray savedCache = qgetenv("XDG_CACHE_HOME");
    QTemporaryDir dir;
    QFile blocker(dir.filePath("file"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    qputenv("XDG_CACHE_HOME", QFile::encodeName(dir.filePath("file")));
    error.clear();
    const auto cache = PcmCache::create(2, 44100.0, &error);
    qputenv("XDG_CACHE_HOME", savedCache);
    EXPECT_EQ(cache, nullptr);
    EXPECT_TRUE(error.startsWith(QStringLiteral("Could not make the cache folder"))) << error.toStdString();
}

TEST(PcmCache, HoldsADecodedFileSampleForSample)
{
    QTemporaryDir dir;
    const fixtures::Signal source = fixtures::stereoSines(44100, 30001);
    const QString wav = dir.filePath("a.wav"), flac = dir.filePath("a.flac");
    ASSERT_TRUE(fixtures::writeWav(wav, source, true));
    ASSERT_TRUE(fixtures::ffmpegConvert(wav, flac, {"-sample_fmt", "s32"}));
    fixtures::Signal pcm;
    ASSERT_TRUE(fixtures::readSoundFile(flac, pcm));

    AudioFileReader reader;
    ASSERT_TRUE(reader.open(flac));
    auto cache = PcmCache::create(reader.info().channelCount, reader.info().sampleRate);
    ASSERT_TRUE(cache);
    ASSERT_TRUE(reader.decode([&](const float* data, int64_t frames) { return cache->append(data, frames); }));
    ASSERT_TRUE(cache->finish());
    ASSERT_EQ(cache->frameCount(), pcm.frames());
    for (int64_t f = 0; f < pcm.frames(); f += 997)
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(cache->channel(c)[f], pcm.at(f, c)) << f;
}

} // namespace
