// The centre as people hear it and as an export writes it: cancelling it takes a voice panned to
// the middle away and leaves a guitar on one side; keeping only it does the reverse.
#include "EngineHarness.h"

#include <complex>

namespace {

constexpr int kRate = EngineHarness::kRate;
constexpr double kVoiceHz = 440.0, kGuitarHz = 660.0, kLevel = 0.3;

// The `hz` sine in x[begin, end) as amplitude and phase, the phase taken at frame 0.
std::complex<double> tone(const std::vector<float>& x, size_t begin, size_t end, double hz)
{
    std::complex<double> sum;
    for (size_t i = begin; i < end; ++i)
        sum += double(x[i]) * std::polar(1.0, -2.0 * M_PI * hz * double(i) / kRate);
    return 2.0 * sum / double(end - begin);
}

double decibels(double ratio) { return 20.0 * std::log10(std::max(ratio, 1e-12)); }

struct CentreCase {
    const char* name;
    std::function<void(AudioEngine&)> press;
    const char* option;
    double keptHz, removedHz, removedBelowDb;
};

void PrintTo(const CentreCase& c, std::ostream* os) { *os << c.name; }

struct CentreChannelTest : ::testing::TestWithParam<CentreCase>, EngineHarness {
    CentreChannelTest() : EngineHarness(pacedOutput()) {}

    void SetUp() override
    {
        ASSERT_TRUE(load(fixtures::synthesise(kRate, 2, 3 * kRate, [](int64_t f, int c) {
            const double t = double(f) / kRate;
            return float(kLevel * std::sin(2 * M_PI * kVoiceHz * t) + (c == 0 ? kLevel * std::sin(2 * M_PI * kGuitarHz * t) : 0.0));
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

TEST_P(CentreChannelTest, OneToneGoesAndTheOtherStaysInPlaybackAndExportAndASoloEndsIt)
{
    const CentreCase& c = GetParam();
    c.press(engine);
    const auto heard = played();
    engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
    const fixtures::Signal written = exportTo(QStringLiteral("centre.wav"));
    const QString fromCommand = dir.filePath(QStringLiteral("command.wav"));
    ASSERT_EQ(fixtures::runLento({"--export", dir.filePath(QStringLiteral("track.wav")), "-o", fromCommand, "--centre", c.option}).status, 0);
    fixtures::Signal commanded;
    ASSERT_TRUE(fixtures::readSoundFile(fromCommand, commanded));
    const struct {
        const char* path;
        std::vector<float> interleaved;
        bool aligned; // a file starts where the track does; what is heard starts when Play reached the ear
    } outputs[] = {{"heard", heard, false}, {"exported", written.interleaved, true}, {"lento --export", commanded.interleaved, true}};
    for (const auto& o : outputs) {
        for (int side : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << o.path << ", side " << side);
            const auto samples = channel(o.interleaved, side);
            ASSERT_GT(samples.size(), size_t(kRate * 9 / 10));
            const size_t begin = kRate * 3 / 10, end = kRate * 9 / 10;
            EXPECT_LT(decibels(std::abs(tone(samples, begin, end, c.removedHz)) / kLevel), c.removedBelowDb);
            const std::complex<double> kept = tone(samples, begin, end, c.keptHz);
            EXPECT_NEAR(decibels(std::abs(kept) / kLevel), 0.0, 1.0);
            if (o.aligned) { // a sine starts at phase -90° against the cosine it is measured by
                EXPECT_NEAR(std::arg(kept), -M_PI / 2, 0.05) << "not shifted in time";
            }
        }
    }

    // Either solo ends it and it ends either solo; with neither, both tones are back.
    engine.soloLeft(true);
    EXPECT_EQ(engine.solo(), 1);
    c.press(engine);
    EXPECT_NE(engine.solo(), 1);
    engine.cancelCentre(false);
    EXPECT_EQ(engine.solo(), 0);
    const auto side = channel(played(), 0);
    for (double hz : {kVoiceHz, kGuitarHz})
        EXPECT_NEAR(decibels(std::abs(tone(side, kRate * 3 / 10, kRate * 9 / 10, hz)) / kLevel), 0.0, 1.0) << hz;
}

INSTANTIATE_TEST_SUITE_P(
    Modes, CentreChannelTest,
    ::testing::Values(CentreCase{"CancelCentre", [](AudioEngine& e) { e.cancelCentre(true); }, "cancel", kGuitarHz, kVoiceHz, -40.0},
                      CentreCase{"CentreOnly", [](AudioEngine& e) { e.centreOnly(true); }, "only", kVoiceHz, kGuitarHz, -20.0}),
    [](const ::testing::TestParamInfo<CentreCase>& info) { return std::string(info.param.name); });

} // namespace
