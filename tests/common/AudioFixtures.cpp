#include "common/AudioFixtures.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <sndfile.h>

#include <cmath>

namespace fixtures {

Signal synthesise(int sampleRate, int channels, int64_t frames,
                  const std::function<float(int64_t, int)>& value)
{
    Signal s;
    s.sampleRate = sampleRate;
    s.channels = channels;
    s.interleaved.resize(size_t(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            s.interleaved[size_t(f * channels + c)] = value(f, c);
    return s;
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Signal stereoSines(int sampleRate, int64_t frames, double hz, float amplitude)
{
    return synthesise(sampleRate, 2, frames, [&](int64_t f, int c) {
        const double freq = c == 0 ? hz : hz * 1.5;
        return float(amplitude * std::sin(2.0 * M_PI * freq * double(f) / sampleRate));
    });
}

bool writeWav(const QString& path, const Signal& signal, bool floatSamples)
{
    SF_INFO info{};
    info.samplerate = signal.sampleRate;
    info.channels = signal.channels;
    info.format = SF_FORMAT_WAV | (floatSamples ? SF_FORMAT_FLOAT : SF_FORMAT_PCM_16);
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    const sf_count_t written = sf_writef_float(file, signal.interleaved.data(), signal.frames());
    sf_close(file);
    return written == signal.frames();
}

bool readSoundFile(const QString& path, Signal& out)
{
    SF_INFO info{};
    SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
    if (!file)
        return false;
    out.sampleRate = info.samplerate;
    out.channels = info.channels;
    out.interleaved.resize(size_t(info.frames * info.channels));
    const sf_count_t read = sf_readf_float(file, out.interleaved.data(), info.frames);
    sf_close(file);
    out.interleaved.resize(size_t(read * info.channels));
    return true;
}

int runProgram(const QString& program, const QStringList& args, QByteArray* stdoutData,
               QByteArray* stderrData, int timeoutMs, const std::function<void()>& inChild)
{
    QProcess process;
    if (inChild)
        process.setChildProcessModifier(inChild);
    process.start(program, args);
    if (!process.waitForStarted(10000))
        return -1;
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    if (stdoutData)
        *stdoutData = process.readAllStandardOutput();
    if (stderrData)
        *stderrData = process.readAllStandardError();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool ffmpegConvert(const QString& in, const QString& out, const QStringList& args)
{
    QStringList all{QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                    QStringLiteral("-y"), QStringLiteral("-i"), in};
    all += args;
    all << out;
    return runProgram(QStringLiteral("ffmpeg"), all) == 0 && QFileInfo(out).size() > 0;
}

QString builtProgram(const QString& name)
{
    return QStringLiteral(LENTO_BIN_DIR "/src/app/") + name;
}

LentoRun runLento(const QStringList& args, const std::function<void()>& inChild)
{
    LentoRun run;
    run.status = runProgram(builtProgram(QStringLiteral("lento")), args, &run.out, &run.err, 120000, inChild);
    return run;
}

} // namespace fixtures
