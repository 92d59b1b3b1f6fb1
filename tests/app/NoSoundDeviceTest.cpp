// The window on a machine with no sound output: the real device stage, made to fail through
// SDL's choice of driver, which SDL reads each time its audio starts.
#include "WindowFixture.h"

#include <cstdlib>

namespace {

struct NoSoundDeviceTest : WindowFixture {
    void SetUp() override
    {
        setenv("SDL_AUDIODRIVER", "no-such-driver", 1);
        engineOptions = {{}, AudioGraph::Rendering::OnRenderThread, false};
        WindowFixture::SetUp();
    }
    void TearDown() override { unsetenv("SDL_AUDIODRIVER"); }
};

} // namespace

TEST_F(NoSoundDeviceTest, TheTrackOpensAndPlaySaysThereIsNoSoundUntilADeviceAppears)
{
    ASSERT_TRUE(load(makeTrack("quiet room.wav", 3.0)));
    QLabel* status = vc->outputStatusLabel();
    EXPECT_FALSE(status->isVisible()) << "nothing to say before Play";

    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    settle();
    EXPECT_TRUE(status->isVisible() && accessible(status) == "No sound output");
    EXPECT_FALSE(accessible(status, QAccessible::Description).isEmpty()) << "and what to do about it";
    EXPECT_EQ(accessible(vc->playButton()), "Play") << "nothing plays";
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr) << "no alert in the way";

    // A device appears; the same track plays at the next press.
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    EXPECT_EQ(accessible(vc->playButton()), "Pause");
    EXPECT_TRUE(waitFor([&] { return vc->timeLabel()->text() == "00:01"; }, 5000)) << "the playhead moves";
    EXPECT_FALSE(status->isVisible());
}
