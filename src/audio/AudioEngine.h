#pragma once

#include "audio/AudioFormat.h"
#include "audio/AudioGraph.h"
#include "audio/AudioSource.h"
#include "audio/PassPlan.h"
#include "waveform/WaveformData.h"

#include <QStringList>
#include <QUrl>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

class AudioOutput;
class PlayerNode;
class ExportProgress;
class WavWriter;
class AudioPlayerDelegate;
class PcmCache;
class QObject;

// The audio engine: the current source, the graph that plays it, the range being played and the
// position heard. Driven from the main thread; end-of-audio handlers run on the graph's completion
// thread and hand the rest to the main queue.
class AudioEngine {
public:
    // Frames of the decoded track that a mode plays; loops and heads play straight from the
    // cache, never from a copy.
    struct FrameRange {
        int64_t start = 0;
        int64_t length = 0;
        bool isEmpty() const { return length <= 0; }
    };

    using OutputFactory = std::function<std::unique_ptr<AudioOutput>()>;
    struct Options {
        OutputFactory makeOutput;                                   // default: the system's device
        AudioGraph::Rendering rendering = AudioGraph::Rendering::OnRenderThread;
        bool watchSystem = true;                                    // device loss, sleep and wake
    };

    AudioEngine();
    explicit AudioEngine(Options options);
    ~AudioEngine();
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    static QStringList allowedFileTypes();

    // --- Reading a source ---
    // Reads, checks and reduces the file, then makes it the current source. Blocks; main thread.
    bool readAudioDataFromURL(const QUrl& url);
    // The main-thread half of a read whose decoding ran elsewhere (AudioSource::read). A refused
    // source leaves the current track exactly as it was; a file over the limit raises its alert here.
    bool adoptSource(AudioSource&& source);

    // --- Graph and lifecycle ---
    bool setupEngine();
    void makeConnections();
    bool startEngine();
    void resetEngine();
    void bypassEffect(bool bypass);
    void setupMatrixMixer(bool unused = true);
    void handleInterruption();
    void handleSleep();
    bool isEngineRunning() const;
    AudioGraph* graph() const { return m_graph.get(); }

    // --- Scheduling and position ---
    void fillBufferFrom(float from, float to, float playAt);
    void fillBufferFrom(int64_t start, uint32_t length);
    bool preparePlay();
    // While a loop plays: [from, to) (shares of the file) is looped from the next pass on, with
    // no break; the pass under way ends where it was going. False when no loop plays.
    bool setNextLoopRange(float from, float to);
    // Trainer and lead of a looping range, from its next pass on (and in exports). Speeds are
    // kept within the speed range.
    void setPassPlan(const PassPlan& plan);
    const PassPlan& passPlan() const { return m_passPlan; }
    // The speed a trainer gave the pass being heard; 0 when none did.
    double trainedRateHeard() const;
    bool playPause();
    bool stop();
    void resetPosition();
    void pauseNode();
    void stopNode();
    bool isPlaying() const;
    double duration() const;
    double currentTime() const;
    double progress() const;
    double currentSampleTime() const;

    // --- Speed, pitch, filter, volume and solo ---
    void setSpeed(float rate);
    float speed() const;
    void setVolume(float volume);
    void soloLeft(bool on);
    void soloRight(bool on);
    // Removes what left and right have in common, or keeps only that; each excludes the others
    // and either solo, as they exclude it.
    void cancelCentre(bool on);
    void centreOnly(bool on);
    void setSolo();
    static constexpr int32_t kCancelCentre = 3;
    static constexpr int32_t kCentreOnly = 4;
    void setPitch(float cents);
    void pitchEnable(bool enable);
    void setFilter(float hz);
    void filterEnable(bool enable);

    // --- Export ---
    // Renders the current range with every current setting into a 16-bit WAV at the file's rate
    // and channel count, on a worker; progress and the end reach exportProgress() on the main thread.
    void exportToURL(const QUrl& url, const QString& formatString);
    void renderBufferAndWriteToURL(const QUrl& url, const AudioFormat& format);
    void setExportProgress(ExportProgress* progress) { m_exportProgress = progress; }
    bool renderAbort() const { return m_renderAbort; }
    void setRenderAbort(bool abort) { m_renderAbort = abort; }
    bool isExporting() const { return m_exporting; }
    // Why the last export's file could not be written, empty when it was (or was cancelled). Set
    // at once when the export could not start, otherwise once exportProgress() is told of the end.
    QString exportError() const { return m_exportError; }
    // Passes of the range an export renders; the window exports one.
    void setExportPasses(int passes) { m_exportPasses = std::max(1, passes); }

    // --- Properties ---
    AudioPlayerDelegate* delegate() const { return m_delegate; }
    void setDelegate(AudioPlayerDelegate* delegate) { m_delegate = delegate; }
    bool loop() const { return m_loop; }
    void setLoop(bool loop) { m_loop = loop; }

    const QUrl& fileURL() const { return m_fileURL; }
    const AudioFormat& inputFormat() const { return m_inputFormat; }
    const AudioFormat& fileFormat() const { return m_fileFormat; }
    double samplerate() const { return m_samplerate; }
    int64_t fileLength() const { return m_fileLength; }
    int64_t from() const { return m_from; }
    uint32_t len() const { return m_len; }
    int64_t cursorPosition() const { return m_cursorPosition; }
    bool preRoll() const { return m_preRoll; }
    bool playFromPosition() const { return m_playFromPosition; }
    bool isScheduled() const { return m_scheduledPlay.load() != 0; }
    double pitch() const { return m_pitch; }
    int32_t solo() const { return m_solo; }
    float volume() const { return m_volume; }

    FrameRange loopBuffer() const { return m_loopBuffer; }
    FrameRange preRollBuffer() const { return m_preRollBuffer; }

    WaveformData* waveData() const { return m_waveData.get(); }
    std::shared_ptr<const PcmCache> pcm() const { return m_pcm; }

private:
    QString startExport(const QUrl& url, const AudioFormat& format);
    void scheduleRange(PlayerNode& node, uint64_t generation, bool report);
    bool stopAt(double heardFrame);
    void handlerA(uint64_t generation);
    void handlerBC(uint64_t generation, int64_t endSampleTime);
    void postFinish(uint64_t generation);
    void finishPlaying(uint64_t generation);
    void waitUntilHeard(uint64_t generation, int64_t endSampleTime) const;
    double heardSampleTime() const;
    void watchSystem();
    void postExportProgress(double fraction);

    Options m_options;
    AudioPlayerDelegate* m_delegate = nullptr;
    std::unique_ptr<WaveformData> m_waveData;
    std::shared_ptr<const PcmCache> m_pcm;
    std::unique_ptr<AudioGraph> m_graph;
    std::unique_ptr<QObject> m_systemWatch;
    std::shared_ptr<int> m_lifetime = std::make_shared<int>(0); // posted work checks it is still alive

    QUrl m_fileURL;
    AudioFormat m_inputFormat;
    AudioFormat m_fileFormat;
    double m_samplerate = 0.0;
    int64_t m_fileLength = 0;

    int64_t m_from = 0;
    uint32_t m_len = 0;
    int64_t m_cursorPosition = 0;
    // The range and head offset the play began with; the playhead follows them until a seam.
    struct FirstPass {
        int64_t start = 0;
        int64_t length = 1;
        int64_t cursor = 0;
    } m_firstPass;
    bool m_loop = false;
    bool m_preRoll = false;
    bool m_playFromPosition = false;
    // The generation of the play under way, 0 for none: an end report can only clear its own.
    std::atomic<uint64_t> m_scheduledPlay{0};
    std::atomic<uint64_t> m_scheduleGeneration{0};
    FrameRange m_loopBuffer;
    FrameRange m_preRollBuffer;
    mutable uint32_t m_heardEpoch = 0;
    mutable double m_heardTime = 0.0;

    ExportProgress* m_exportProgress = nullptr;
    std::atomic<bool> m_renderAbort{false};
    std::atomic<bool> m_renderLoopActive{false};
    bool m_exporting = false;
    QString m_exportError;
    int m_exportPasses = 1;

    PassPlan m_passPlan;
    double m_pitch = 0.0;
    int32_t m_solo = 0;
    float m_volume = 1.0f;
};
