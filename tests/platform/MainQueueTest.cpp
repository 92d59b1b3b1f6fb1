#include "platform/MainQueue.h"

#include "common/Testing.h"

TEST(MainQueue, RunsPostedWorkLaterOnTheGuiThreadInOrder)
{
    std::vector<int> order;
    bool posterIsMain = true;
    const std::unique_ptr<QThread> poster(QThread::create([&] {
        posterIsMain = MainQueue::isMainThread();
        MainQueue::post([&] { order.push_back(1); });
        MainQueue::post([&] { order.push_back(2); });
    }));
    poster->start();
    poster->wait();
    EXPECT_FALSE(posterIsMain);
    EXPECT_TRUE(order.empty()) << "posted work must not run on the poster's thread";
    QCoreApplication::processEvents();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_TRUE(MainQueue::isMainThread());
}
