#include "preferences/UserDefaults.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char** argv)
{
    UserDefaults::standardUserDefaults().registerDefaults(
        {{QStringLiteral("ApplePersistenceIgnoreState"), true}, {QStringLiteral("NSQuitAlwaysKeepsWindows"), false}});
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Lento"));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Lento"));
    window.resize(1000, 600);
    window.show();
    return app.exec();
}
