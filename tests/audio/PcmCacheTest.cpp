#include "audio/PcmCache.h"

#include "common/Testing.h"

#include <csignal>
#include <sys/resource.h>

namespace {

// A value no other (frame, channel) has, exact in float.
float sampleAt(int64_t frame, int channel) { return float(frame * 8 + channel) * 0.25f; }

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
    size_t next = 0;
    for (int64_t done = 0; cache && done < total;) {
        const int64_t n = std::min(blockSizes[next++ % blockSizes.size()], total - done);
        const std::vector<float> block = interleavedFrames(done, n, channels);
        EXPECT_TRUE(cache->append(block.data(), n));
        done += n;
    }
    return cache;
}

QStringList cacheFolderEntries() { return QDir(PcmCache::folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot); }

TEST(PcmCache, AppendsBecomeContiguousChannelsReadExactlyWithNothingLeftInTheFolder)
{
    // Odd sizes that straddle the internal buffer's edges in every way.
    const int64_t total = 200003;
    auto cache = filledCache(3, total, {1, 7, 4093, 65537, 2, 31999});
    ASSERT_TRUE(cache);
    EXPECT_EQ(cache->channel(0), nullptr) << "no samples before finish()";
    EXPECT_EQ(cacheFolderEntries(), QStringList());
    ASSERT_TRUE(cache->finish());
    EXPECT_EQ(cacheFolderEntries(), QStringList()) << "the files are unlinked";
    ASSERT_EQ(cache->frameCount(), total);
    for (int c = 0; c < 3; ++c) {
        int64_t wrong = 0;
        for (int64_t f = 0; f < total; ++f)
            wrong += cache->channel(c)[f] != sampleAt(f, c);
        EXPECT_EQ(wrong, 0) << "channel " << c;
    }
    EXPECT_EQ(cache->channel(3), nullptr);

    std::vector<float> out[3] = {std::vector<float>(100, -1.0f), std::vector<float>(100, -1.0f), std::vector<float>(100, -1.0f)};
    float* pointers[3] = {out[0].data(), out[1].data(), out[2].data()};
    // Across a write-buffer boundary, then clamped at the end, then outside.
    for (const auto& [start, count, got] : {std::tuple{int64_t(65530), 20, 20}, std::tuple{total - 5, 100, 5}}) {
        ASSERT_EQ(cache->read(start, count, pointers), got);
        for (int64_t i = 0; i < got; ++i)
            ASSERT_EQ(out[2][size_t(i)], sampleAt(start + i, 2)) << start + i;
    }
    EXPECT_EQ(out[0][20], -1.0f) << "a read wrote past what it was asked for";
    EXPECT_EQ(cache->read(total, 10, pointers), 0);
    EXPECT_EQ(cache->read(-1, 10, pointers), 0);
    cache->prefetch(total - 10, 1000); // clamped, not past the mapping
}

// What the cache can not hold is refused with its reason: no channels, a folder it can not make, and
// a full disk (the file-size limit stands in for one: writes past it fail with EFBIG), after which
// it is unusable; a finished track refuses more and stays as it was.
TEST(PcmCache, RefusesWhatItCanNotHoldAndKeepsAFinishedTrackAsItIs)
{
    QString error;
    EXPECT_EQ(PcmCache::create(0, 44100.0, &error), nullptr);
    EXPECT_FALSE(error.isEmpty());
    const QByteArray savedCache = qgetenv("XDG_CACHE_HOME");
    QTemporaryDir dir;
    ASSERT_TRUE(fixtures::writeFile(dir.filePath("file"), {}));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(dir.filePath("file")));
    const auto refused = PcmCache::create(2, 44100.0, &error);
    qputenv("XDG_CACHE_HOME", savedCache);
    EXPECT_EQ(refused, nullptr);
    EXPECT_TRUE(error.startsWith(QStringLiteral("Could not make the cache folder"))) << error.toStdString();

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
    EXPECT_FALSE(cache->append(block.data(), 1)) << "unusable from then on";
    EXPECT_FALSE(cache->finish());
    EXPECT_EQ(cache->channel(0), nullptr);

    auto empty = PcmCache::create(2, 22050.0);
    ASSERT_TRUE(empty && empty->finish());
    EXPECT_EQ(empty->channel(0), nullptr);
    auto full = filledCache(1, 10, {10});
    ASSERT_TRUE(full && full->finish());
    EXPECT_FALSE(full->append(block.data(), 1));
    EXPECT_EQ(full->frameCount(), 10);
    EXPECT_EQ(full->channel(0)[9], sampleAt(9, 0)) << "a refused append must leave the track as it was";
}

} // namespace
