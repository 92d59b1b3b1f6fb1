#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <vector>

// Test audio made at test time: synthesised with libsndfile, converted with the ffmpeg CLI.
namespace fixtures {

struct Signal {
    int sampleRate = 44100;
    int channels = 2;
    std::vector<float> interleaved; // frames × channels

    int64_t frames() const { return channels ? int64_t(interleaved.size()) / channels : 0; }
    float at(int64_t frame, int channel) const { return interleaved[size_t(frame * channels + channel)]; }
    std::vector<float> channel(int c) const
    {
        std::vector<float> out(static_cast<size_t>(frames()));
        for (int64_t f = 0; f < frames(); ++f)
            out[size_t(f)] = at(f, c);
        return out;
    }
};

// value(frame, channel) fills every sample.
Signal synthesise(int sampleRate, int channels, int64_t frames,
                  const std::function<float(int64_t frame, int channel)>& value);

// A sine of `hz` on the left, a different one (1.5 × hz) on the right, at `amplitude`.
Signal stereoSines(int sampleRate, int64_t frames, double hz = 440.0, float amplitude = 0.5f);

// Writes a WAV (16-bit PCM by default, or 32-bit float). Returns false when it could not.
bool writeWav(const QString& path, const Signal& signal, bool floatSamples = false);

// Reads any file libsndfile knows, for checking outputs.
bool readSoundFile(const QString& path, Signal& out);

// A file's bytes, written whole or read whole; a file that can't be read reads as empty.
bool writeFile(const QString& path, const QByteArray& bytes);
QByteArray readFile(const QString& path);

// Runs `ffmpeg -v error -y -i in <args> out`; true when it exits 0 and the output exists.
bool ffmpegConvert(const QString& in, const QString& out, const QStringList& args = {});

// Runs a program to completion, returning its exit status (or -1 if it could not start or was
// killed). `inChild` runs in the child before the program starts (limits, signals).
int runProgram(const QString& program, const QStringList& args, QByteArray* stdoutData = nullptr,
               QByteArray* stderrData = nullptr, int timeoutMs = 120000, const std::function<void()>& inChild = {});

// Path of a program built by this build tree (e.g. "lento").
QString builtProgram(const QString& name);

// A run of the built `lento` with its exit status and what it printed.
struct LentoRun {
    int status = -1;
    QByteArray out;
    QByteArray err;
};
LentoRun runLento(const QStringList& args, const std::function<void()>& inChild = {});

} // namespace fixtures
