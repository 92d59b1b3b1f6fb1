#pragma once

#include "audio/AudioFormat.h"
#include "waveform/WaveformData.h"

#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>

class PcmCache;

// A track decoded into the PCM cache and reduced to waveform bins: everything of a file read that
// needs no engine state, so it can run on a worker while the window goes on.
struct AudioSource {
    enum class Status { Ready, NullURL, CannotOpen, TooLarge, EmptyOrNoMemory, ReadFailed, Cancelled };

    Status status = Status::NullURL;
    QString reason; // a short human-readable cause when status is not Ready

    QUrl url;
    AudioFormat inputFormat;
    AudioFormat fileFormat;
    int64_t fileLength = 0;
    std::shared_ptr<const PcmCache> pcm;
    WaveformData waveData;
    QString fingerprint; // of the sound, see AcousticFingerprint; empty when none could be made

    bool isReady() const { return status == Status::Ready; }

    static constexpr double maximumSeconds = 14400.0;

    using Progress = std::function<void(double fraction)>;
    static AudioSource read(const QUrl& url, const std::atomic<bool>* cancel = nullptr, const Progress& progress = {});
};
