// Cancelling the centre as people hear it and as an export writes it: a voice panned to the
// middle goes, a guitar on one side stays.
#include "EngineHarness.h"

#include <complex>

namespace {

constexpr int kRate = EngineHarness::kRate;

// The amplitude of the `hz` sine in x[begin, end).
double toneAmplitude(const std::vector<float>& x, size_t begin, size_t end, double hz)
{
    std::complex<double> sum;
    for (size_t i = begin; i < end; ++i)
        sum += double(x[i]) * std::polar(1.0, -2.0 * M_PI * hz * double(i) / kRate);
    return 2.0 * std::abs(sum) / double(end - begin);
}

double decibels(double ratio)
{
    return 20.0 * std::log10(std::max(ratio, 1e-12));
}

struct CentreCancelTest : ::testing::Test, EngineHarness {
    CentreCancelTest() : EngineHarness(pacedOutput()) {}

    // Voice: 440 Hz on both sides. Guitar: 660 Hz on the left only.
    void SetUp() override
    {
        ASSERT_TRUE(load(fixtures::synthesise(kRate, 2, 3 * kRate, [](int64_t f, int c) {
            const double t = double(f) / kRate;
            return float(0.3 * std::sin(2 * M_PI * 440.0 * t) + (c == 0 ? 0.3 * std::sin(2 * M_PI * 660.0 * t) : 0.0));
        })));
    }

    std::vector<float> played()
    {
        output().record(kRate);
        EXPECT_TRUE(engine.playPause());
        EXPECT_TRUE(waitFor([&] { return output().recordedFrames() >= kRate; }));
        engine.stop();
        return output().recorded();
    }
};

TEST_F(CentreCancelTest, TheMiddleGoesAndOneSidedSoundStaysInPlaybackAndExportAndASoloEndsIt)
{
    engine.cancelCentre(true);
    EXPECT_EQ(engine.solo(), AudioEngine::kCancelCentre);
    const auto heard = played();
    engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
    const fixtures::Signal written = exportTo(QStringLiteral("karaoke.wav"));
    const QString fromCommand = dir.filePath(QStringLiteral("command.wav"));
    const fixtures::LentoRun run = fixtures::runLento({"--export", dir.filePath(QStringLiteral("track.wav")), "-o",
                                                       fromCommand, "--centre", "cancel"});
    ASSERT_EQ(run.status, 0) << run.err.constData();
    fixtures::Signal commanded;
    ASSERT_TRUE(fixtures::readSoundFile(fromCommand, commanded));
    const struct {
        const char* path;
        std::vector<float> interleaved;
    } outputs[] = {{"heard", heard}, {"exported", written.interleaved}, {"lento --export", commanded.interleaved}};
    for (const auto& o : outputs) {
        for (int c : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << o.path << ", side " << c);
            const auto side = channel(o.interleaved, c);
            ASSERT_GT(side.size(), size_t(kRate * 9 / 10));
            const size_t begin = kRate * 3 / 10, end = kRate * 9 / 10;
            EXPECT_LT(decibels(toneAmplitude(side, begin, end, 440.0) / 0.3), -40.0) << "the voice";
            EXPECT_NEAR(decibels(toneAmplitude(side, begin, end, 660.0) / 0.3), 0.0, 1.0) << "the guitar";
        }
    }

    // Either solo ends it and it ends either solo.
    const struct {
        const char* step;
        std::function<void()> press;
        int32_t solo;
    } steps[] = {
        {"solo left", [&] { engine.soloLeft(true); }, 1},
        {"cancel again", [&] { engine.cancelCentre(true); }, AudioEngine::kCancelCentre},
        {"cancel off", [&] { engine.cancelCentre(false); }, 0},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.step);
        s.press();
        EXPECT_EQ(engine.solo(), s.solo);
    }
    // With nothing cancelled the voice is back at its level.
    const auto side = channel(played(), 1);
    EXPECT_NEAR(decibels(toneAmplitude(side, kRate * 3 / 10, kRate * 9 / 10, 440.0) / 0.3), 0.0, 1.0);
}

} // namespace
