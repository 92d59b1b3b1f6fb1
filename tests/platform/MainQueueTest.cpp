#include "platform/MainQueue.h"

#include "common/Testing.h"

TEST(MainQueue, RunsPostedWorkLaterOnTheGuiThreadInOrder)
{
    std::vector<int> order;
    bool posterIsMain = true;
    const std::unique_ptr<QThread> poster(QThread::create([&] {
        posterIsMain = MainQueue::isMainThread();
        for (int i : {1, 2})
            MainQueue::post([&order, i] { order.push_back(i); });
    }));
    poster->start();
    poster->wait();
    EXPECT_TRUE(order.empty()) << "posted work must not run on the poster's thread";
    QCoreApplication::processEvents();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(std::pair(posterIsMain, MainQueue::isMainThread()), std::pair(false, true));
}
