#include "analysis/PreciseChordEstimator.h"

#include "analysis/ChordFileReading.h"
#include "analysis/PreciseChordAnalyzer.h"
#include "audio/AudioFileReader.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

// The frames are transformed while decoding; what is left after it is the smaller part.
constexpr double kDecodeShare = 0.85;

// Decoding and the frames' transforms take about as long each, so they run on two threads: the
// caller decodes and mixes to mono into one of a few recycled blocks, a worker feeds the analyzer.
class MonoPipe {
public:
    static constexpr size_t kBlockSamples = 1 << 15;
    static constexpr int kBlocks = 8;

    explicit MonoPipe(PreciseChordAnalyzer& analyzer)
        : m_analyzer(analyzer)
    {
        m_blocks.resize(kBlocks);
        for (std::vector<float>& block : m_blocks) {
            block.reserve(kBlockSamples);
            m_free.push_back(&block);
        }
        m_worker = std::thread([this] { run(); });
    }
    ~MonoPipe() { close(); }

    void appendInterleaved(const float* interleaved, int64_t frames, int channels)
    {
        const float scale = 1.0f / float(channels);
        for (int64_t f = 0; f < frames; ++f) {
            if (!m_filling)
                m_filling = takeFree();
            float sum = 0.0f;
            for (int c = 0; c < channels; ++c)
                sum += interleaved[f * channels + c];
            m_filling->push_back(sum * scale);
            if (m_filling->size() == kBlockSamples)
                hand(std::exchange(m_filling, nullptr));
        }
    }

    // Hands over what is left and waits until the analyzer has taken everything.
    void close()
    {
        if (!m_worker.joinable())
            return;
        if (m_filling)
            hand(std::exchange(m_filling, nullptr));
        {
            std::lock_guard lock(m_mutex);
            m_closed = true;
        }
        m_changed.notify_all();
        m_worker.join();
    }

private:
    std::vector<float>* takeFree()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_free.empty(); });
        std::vector<float>* block = m_free.back();
        m_free.pop_back();
        return block;
    }

    void hand(std::vector<float>* block)
    {
        {
            std::lock_guard lock(m_mutex);
            m_full.push_back(block);
        }
        m_changed.notify_all();
    }

    void run()
    {
        for (;;) {
            std::vector<float>* block = nullptr;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(lock, [this] { return !m_full.empty() || m_closed; });
                if (m_full.empty())
                    return;
                block = m_full.front();
                m_full.erase(m_full.begin());
            }
            m_analyzer.appendMono(block->data(), int64_t(block->size()));
            block->clear();
            {
                std::lock_guard lock(m_mutex);
                m_free.push_back(block);
            }
            m_changed.notify_all();
        }
    }

    PreciseChordAnalyzer& m_analyzer;
    std::vector<std::vector<float>> m_blocks;
    std::vector<std::vector<float>*> m_free, m_full;
    std::vector<float>* m_filling = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_closed = false;
    std::thread m_worker;
};

} // namespace

QList<LTChordSegment> PreciseChordEstimator::estimateChordSegmentsForFileURL(const QUrl& url,
                                                                             const LTChordEstimator::Progress& progress,
                                                                             const std::atomic<bool>* cancel,
                                                                             QString* failure, precisechord::Options options)
{
    AudioFileReader reader;
    if (!openForChordAnalysis(url, reader, failure))
        return {};
    const QString path = url.toLocalFile();
    const AudioStreamInfo& info = reader.info();

    PreciseChordAnalyzer analyzer(info.sampleRate, options, info.estimatedFrames);
    if (!analyzer.isValid()) {
        if (failure)
            *failure = QStringLiteral("the analysis could not be set up");
        return {};
    }
    const int channels = info.channelCount;
    MonoPipe pipe(analyzer);
    const bool intact = reader.decode(
        [&pipe, channels](const float* interleaved, int64_t frames) {
            pipe.appendInterleaved(interleaved, frames, channels);
            return true;
        },
        cancel, [&progress](double fraction) { if (progress) progress(fraction * kDecodeShare); });
    pipe.close();
    if (!chordDecodeUsable(reader, intact, path, failure))
        return {};
    QList<LTChordSegment> segments = analyzer.finish(
        [&progress](double fraction) { if (progress) progress(kDecodeShare + fraction * (1.0 - kDecodeShare)); }, cancel);
    if (cancel && cancel->load())
        return {};
    if (progress)
        progress(1.0);
    return segments;
}
