#include "platform/MainQueue.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <vector>

TEST(MainQueue, RunsPostedWorkLaterOnTheGuiThreadInOrder)
{
    std::vector<int> order;
    QThread* ranOn = nullptr;
    QThread worker;
    worker.start();
    QObject poster;
    poster.moveToThread(&worker);
    QMetaObject::invokeMethod(
        &poster,
        [&] {
            EXPECT_FALSE(MainQueue::isMainThread());
            MainQueue::post([&] { order.push_back(1); ranOn = QThread::currentThread(); });
            MainQueue::post([&] { order.push_back(2); });
        },
        Qt::BlockingQueuedConnection);
    worker.quit();
    worker.wait();
    EXPECT_TRUE(order.empty()) << "posted work must not run on the poster's thread";
    QCoreApplication::processEvents();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(ranOn, QCoreApplication::instance()->thread());
    EXPECT_TRUE(MainQueue::isMainThread());
}
