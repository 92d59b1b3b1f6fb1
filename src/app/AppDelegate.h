#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <QMainWindow>
class UserDefaults;
class ViewController;

class AppDelegate : public QObject {
    Q_OBJECT
public:
    // Registered at process entry, before anything else reads the defaults.
    static void registerStartDefaults(UserDefaults& defaults);

    AppDelegate(ViewController* viewController, UserDefaults& defaults, QObject* parent = nullptr);

    void setWindow(QMainWindow* window);
    QMainWindow* window() const { return m_window; }
    ViewController* viewController() const { return m_viewController; }

    void applicationDidFinishLaunching();
    bool applicationOpenFile(const QString& path);

    // The last track from the defaults: bookmark first, then the URL string; empty when neither
    // names an existing file.
    QUrl restoredLastTrackURL();

private:
    void showWindowTitle(const QUrl& url);

    ViewController* m_viewController;
    UserDefaults& m_defaults;
    QPointer<QMainWindow> m_window;
};
