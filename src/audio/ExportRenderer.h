#pragma once

#include "audio/CentreExtractor.h"
#include "audio/ClickTrack.h"
#include "audio/Equalizer.h"
#include "audio/Limiter.h"
#include "audio/MatrixMixer.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace RubberBand {
class RubberBandStretcher;
}
class AudioRenderSource;
class WavWriter;

// Renders a range at fixed settings, faster than real time and at the stretcher's best quality,
// into a WAV of the track's own channel count: Rubber Band's offline mode studies the whole input
// first and then processes it, followed by the same mixer, equaliser and limiter settings as
// playback. Speed 1 with no pitch shift passes the samples through untouched.
class ExportRenderer {
public:
    struct Settings {
        double sampleRate = 0.0;
        int channels = 0;
        double rate = 1.0;  // playback rate; the output has 1/rate as many frames per input frame
        double cents = 0.0;
        // Passes whose speed or lead change as they go render through the playback stretcher,
        // which follows the player's passes; the clicks of a count-in join after the filter.
        bool followsPasses = false;
        bool centreOnly = false;
    };
    using Progress = std::function<void(double fraction)>;

    ExportRenderer(const Settings& settings, const MatrixMixer& mixer, const Equalizer& eq);
    ~ExportRenderer();
    ExportRenderer(const ExportRenderer&) = delete;
    ExportRenderer& operator=(const ExportRenderer&) = delete;

    // `study` and `input` each give the same `inputFrames` frames of the range (two schedules of
    // it); `total` frames are written, padded with silence or cut. False when a write failed.
    bool run(AudioRenderSource& study, AudioRenderSource& input, int64_t inputFrames, int64_t total,
             WavWriter& writer, const std::atomic<bool>& abort, const Progress& progress);
    // Whether run() reads `study` at all: only a stretch studies its input first.
    bool studies() const { return m_stretcher != nullptr; }
    // Where the player of a render that follows its passes puts its clicks.
    ClickTrack* clickTrack() { return &m_clicks; }

private:
    bool stretches() const;
    bool runFollowingPasses(AudioRenderSource& input, WavWriter& writer, const std::atomic<bool>& abort,
                            const Progress& progress);
    void studyAll(AudioRenderSource& study, int64_t inputFrames, const std::atomic<bool>& abort, const Progress& progress);
    bool deliver(float* const* block, int frames, WavWriter& writer);
    void shape(float* const* block, int frames);

    Settings m_settings;
    std::unique_ptr<RubberBand::RubberBandStretcher> m_stretcher;
    MatrixMixer m_mixer;
    std::unique_ptr<CentreExtractor> m_centre; // for "Centre only"
    std::vector<std::unique_ptr<Equalizer>> m_eqs; // one per kMaxChannels channels
    bool m_filtering = true;
    Limiter m_limiter;
    ClickTrack m_clicks;
    double m_blockTime = 0.0; // where the block being shaped lies on the player's time line
    double m_blockRate = 0.0;
    int64_t m_toDrop = 0;
    int64_t m_written = 0;
    int64_t m_total = 0;
    std::vector<std::vector<float>> m_in, m_out, m_mix;
    std::vector<float*> m_inPointers, m_outPointers, m_mixPointers, m_offsetPointers;
};
