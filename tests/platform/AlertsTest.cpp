#include "platform/Alerts.h"

#include <gtest/gtest.h>

TEST(Alerts, ThePresenterSeesTheAlertAndChoosesTheAnswerAndWithoutOneTheFirstButtonAnswers)
{
    Alert seen;
    Alerts::setPresenter([&](const Alert& alert) {
        seen = alert;
        return Alerts::FirstButtonReturn + 1;
    });
    EXPECT_EQ(Alerts::runModal({"Delete?", "It can not be undone.", {"Delete", "Cancel"}, AlertStyle::Critical}),
              Alerts::FirstButtonReturn + 1);
    EXPECT_EQ(seen.messageText, "Delete?");
    EXPECT_EQ(seen.buttons, (QStringList{"Delete", "Cancel"}));
    Alerts::setPresenter({});
    EXPECT_EQ(Alerts::runModal({"m", "i", {"OK"}, AlertStyle::Warning}), Alerts::FirstButtonReturn);
}
