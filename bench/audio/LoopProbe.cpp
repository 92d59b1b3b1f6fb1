// loop_probe FILE SECONDS FROM TO [SPEED CENTS]: plays the range FROM..TO (fractions of the track)
// as a loop through the render thread into a clock-paced output for SECONDS, then prints the ring's
// underruns, the slowest block and the resident memory the play added to what the loaded track took.
#include "audio/AudioEngine.h"
#include "audio/VirtualOutput.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QUrl>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

double statusMegabytes(const char* key)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(key, 0) == 0)
            return std::stod(line.substr(std::string(key).size())) / 1024.0;
    return 0.0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 5 && argc != 7) {
        std::fprintf(stderr, "usage: loop_probe FILE SECONDS FROM TO [SPEED CENTS]\n");
        return 2;
    }
    AudioEngine engine(AudioEngine::Options{
        [] { return std::make_unique<VirtualOutput>(512, 0, VirtualOutput::Pacing::RealTime); },
        AudioGraph::Rendering::OnRenderThread, false});
    if (!engine.readAudioDataFromURL(QUrl::fromLocalFile(QString::fromLocal8Bit(argv[1]))))
        return 1;
    const double loaded = statusMegabytes("VmRSS:");
    engine.setLoop(true);
    engine.fillBufferFrom(std::stof(argv[3]), std::stof(argv[4]), std::stof(argv[3]));
    if (argc == 7) {
        engine.setSpeed(std::stof(argv[5]));
        engine.setPitch(std::stof(argv[6]));
        engine.pitchEnable(true);
    }
    if (!engine.playPause())
        return 1;
    double added = 0.0;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < qint64(std::stod(argv[2]) * 1000)) {
        QCoreApplication::processEvents();
        QThread::msleep(100);
        added = std::max(added, statusMegabytes("VmRSS:") - loaded);
    }
    std::printf("underruns %llu  worst block %.1f ms  resident after load %.1f MB  most added while looping %.1f MB\n",
                (unsigned long long)engine.graph()->ring()->underruns(), engine.graph()->worstBlockSeconds() * 1000.0,
                loaded, added);
    engine.playPause();
    return 0;
}
