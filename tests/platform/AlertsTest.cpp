#include "platform/Alerts.h"

#include "common/Testing.h"

TEST(Alerts, ThePresenterSeesTheAlertAndChoosesTheAnswerAndWithoutOneTheFirstButtonAnswers)
{
    QStringList seen;
    Alerts::setPresenter([&](const Alert& alert) { seen = alert.buttons; return Alerts::FirstButtonReturn + 1; });
    EXPECT_EQ(Alerts::runModal({"Delete?", "It can not be undone.", {"Delete", "Cancel"}, AlertStyle::Critical}),
              Alerts::FirstButtonReturn + 1);
    EXPECT_EQ(seen, (QStringList{"Delete", "Cancel"}));
    Alerts::setPresenter({});
    EXPECT_EQ(Alerts::runModal({"m", "i", {"OK"}, AlertStyle::Warning}), Alerts::FirstButtonReturn);
}
