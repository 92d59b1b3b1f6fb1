#include "app/AppDelegate.h"

#include "app/ViewController.h"
#include "library/FileBookmark.h"
#include "platform/Log.h"
#include "preferences/UserDefaults.h"

#include <QFileInfo>
#include <QMainWindow>

void AppDelegate::registerStartDefaults(UserDefaults& defaults)
{
    defaults.registerDefaults({{QStringLiteral("ApplePersistenceIgnoreState"), true},
                               {QStringLiteral("NSQuitAlwaysKeepsWindows"), false}});
}

AppDelegate::AppDelegate(ViewController* viewController, UserDefaults& defaults, QObject* parent)
    : QObject(parent)
    , m_viewController(viewController)
    , m_defaults(defaults)
{
    connect(m_viewController, &ViewController::trackLoaded, this, &AppDelegate::showWindowTitle);
}

void AppDelegate::setWindow(QMainWindow* window)
{
    m_window = window;
}

void AppDelegate::applicationDidFinishLaunching()
{
    const QUrl url = restoredLastTrackURL();
    if (!url.isEmpty())
        m_viewController->loadAudioFromURL(url);
}

namespace {
bool fileExistsAt(const QUrl& url)
{
    return url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile();
}
} // namespace

QUrl AppDelegate::restoredLastTrackURL()
{
    const QVariant stored = m_defaults.objectForKey(QStringLiteral("LastSongBookmark"));
    if (stored.typeId() == QMetaType::QByteArray && !stored.toByteArray().isEmpty()) {
        bool stale = false;
        QString error;
        const QUrl url = FileBookmark::URLByResolvingBookmarkData(stored.toByteArray(), &stale, &error);
        if (!url.isEmpty() && fileExistsAt(url)) {
            if (stale) {
                const QByteArray fresh = FileBookmark::bookmarkDataFromURL(url);
                if (!fresh.isEmpty())
                    m_defaults.setObject(fresh, QStringLiteral("LastSongBookmark"));
            }
            return url;
        }
        if (!error.isEmpty())
            Log::line(QStringLiteral("Failed to resolve last-song bookmark: %1").arg(error));
    }

    const QString string = m_defaults.stringForKey(QStringLiteral("LastSongURL"));
    if (!string.isEmpty()) {
        const QUrl url(string);
        if (url.isValid() && fileExistsAt(url))
            return url;
    }
    return {};
}

bool AppDelegate::applicationOpenFile(const QString& path)
{
    if (m_window && !m_window->isVisible()) {
        m_window->show();
        m_window->activateWindow();
    }
    return m_viewController->loadAudioFromURL(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

void AppDelegate::showWindowTitle(const QUrl& url)
{
    if (m_window)
        m_window->setWindowTitle(url.fileName());
}
