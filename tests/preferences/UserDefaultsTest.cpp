#include "preferences/ColorTheme.h"
#include "preferences/UserDefaults.h"

#include "common/Testing.h"

namespace {
struct UserDefaultsTest : ::testing::Test {
    QTemporaryDir dir;
    QString path() const { return dir.filePath("Lento.conf"); }
};
} // namespace

TEST_F(UserDefaultsTest, StoredValuesAreWrittenAndWinWhileRegisteredDefaultsOnlyAnswer)
{
    const QByteArray blob("\x00\x01\xffLTBM", 7);
    {
        UserDefaults defaults(path());
        defaults.registerDefaults({{"ApplePersistenceIgnoreState", true}, {"Speed", 1.0}});
        EXPECT_TRUE(defaults.boolForKey("ApplePersistenceIgnoreState"));
        defaults.setObject(0.5, "Speed");
        EXPECT_DOUBLE_EQ(defaults.doubleForKey("Speed"), 0.5);
        defaults.removeObjectForKey("Speed");
        EXPECT_DOUBLE_EQ(defaults.doubleForKey("Speed"), 1.0);
        defaults.setObject(QStringLiteral("file:///a.wav"), "LastSongURL");
        defaults.setObject(blob, "LastSongBookmark");
        ASSERT_TRUE(defaults.synchronize());
    }
    UserDefaults reopened(path()); // the registered default was never written
    EXPECT_FALSE(reopened.objectForKey("ApplePersistenceIgnoreState").isValid());
    EXPECT_EQ(reopened.stringForKey("LastSongURL"), "file:///a.wav");
    EXPECT_EQ(reopened.dataForKey("LastSongBookmark"), blob);
}

TEST_F(UserDefaultsTest, IntegerSettingsReadTheWayThePreferenceControlsStoreThem)
{
    UserDefaults defaults(path());
    // An integer is a boolean, a number or its text; the flag is its low eight bits.
    // The integer when the fallback is -5, the flag when it falls back to false and to true.
    struct Case { QVariant stored; int integer; bool flagFallingBackToFalse, flagFallingBackToTrue; };
    for (const Case& c : {Case{true, 1, true, true}, Case{false, 0, false, false}, Case{" TRUE ", 1, true, true},
                          Case{"False", 0, false, false}, Case{"257", 257, true, true}, Case{256, 256, false, false},
                          Case{"x", -5, false, true}, Case{QVariant(), -5, false, true}}) {
        defaults.setObject(c.stored, "Key");
        EXPECT_EQ(ColorTheme::integerForKey(defaults, "Key", -5), c.integer) << c.stored.toString().toStdString();
        EXPECT_EQ(ColorTheme::flagForKey(defaults, "Key", false), c.flagFallingBackToFalse) << c.stored.toString().toStdString();
        EXPECT_EQ(ColorTheme::flagForKey(defaults, "Key", true), c.flagFallingBackToTrue) << c.stored.toString().toStdString();
    }
}
