#pragma once

#include "app/AppDelegate.h"
#include "app/ViewController.h"
#include "audio/AudioEngine.h"
#include "audio/VirtualOutput.h"
#include "common/AudioFixtures.h"
#include "controls/WDSlider.h"
#include "preferences/UserDefaults.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

// The real window and controller over a defaults file of their own and an engine that renders
// into a virtual output, so tests hear exactly what the graph gives out.
struct WindowFixture : ::testing::Test {
    QTemporaryDir dir;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<ViewController> vc;
    std::unique_ptr<AppDelegate> delegate;
    QMainWindow* window = nullptr;

    static AudioEngine::Options virtualOutput()
    {
        return {[] { return std::make_unique<VirtualOutput>(512, 0); }, AudioGraph::Rendering::InOutputCallback, false};
    }

    void SetUp() override { start(); }

    void TearDown() override
    {
        delegate.reset();
        vc.reset();
    }

    void start(int width = 1200, int height = 760)
    {
        delegate.reset();
        vc.reset();
        defaults = std::make_unique<UserDefaults>(dir.filePath("Lento.conf"));
        AppDelegate::registerStartDefaults(*defaults);
        prepareDefaults();
        vc = std::make_unique<ViewController>(*defaults, virtualOutput());
        vc->viewDidLoad();
        delegate = std::make_unique<AppDelegate>(vc.get(), *defaults);
        window = delegate->createMainWindow();
        window->resize(width, height);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        settle();
    }

    // Defaults a test wants in place before the controller starts.
    virtual void prepareDefaults() {}

    static void settle() { QCoreApplication::processEvents(); }

    QString makeTrack(const QString& name, double seconds = 3.0)
    {
        const QString path = dir.filePath(name);
        const auto signal = fixtures::synthesise(44100, 2, int64_t(seconds * 44100), [](int64_t f, int c) {
            return float(0.25 * std::sin((c ? 0.07 : 0.05) * double(f)));
        });
        EXPECT_TRUE(fixtures::writeWav(path, signal));
        return path;
    }

    bool load(const QString& path) { return vc->loadAudioFromURL(QUrl::fromLocalFile(path)); }

    // Clicks the slider where its knob would stand for `value`, as a user's press does.
    static void clickAt(WDSlider* slider, double value, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const double f = (value - slider->minValue()) / (slider->maxValue() - slider->minValue());
        const int x = int(std::lround(WDSlider::kKnobSize / 2.0 + f * (slider->width() - WDSlider::kKnobSize)));
        QTest::mouseClick(slider, Qt::LeftButton, modifiers, QPoint(x, slider->height() / 2));
    }

    template <typename Predicate>
    static bool waitFor(Predicate done, int timeoutMs = 20000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!done() && timer.elapsed() < timeoutMs)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        return done();
    }
};
