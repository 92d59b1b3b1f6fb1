#include "app/AppDelegate.h"
#include "app/CommandLine.h"
#include "app/MprisService.h"
#include "app/SingleInstance.h"
#include "app/ViewController.h"
#include "platform/Alerts.h"
#include "platform/QuitOnSignals.h"
#include "preferences/UserDefaults.h"

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QTextStream>

#include <optional>

namespace {

// Alerts come up as window-modal message boxes over the main window.
void presentAlertsAsMessageBoxes(QWidget* window)
{
    Alerts::setPresenter([window](const Alert& alert) {
        QMessageBox box(alert.style == AlertStyle::Critical ? QMessageBox::Critical : QMessageBox::Warning,
                        alert.messageText, alert.messageText, QMessageBox::NoButton, window);
        box.setInformativeText(alert.informativeText);
        QList<QAbstractButton*> buttons;
        for (const QString& title : alert.buttons)
            buttons << box.addButton(title, QMessageBox::AcceptRole);
        box.setWindowModality(Qt::WindowModal);
        box.exec();
        return Alerts::FirstButtonReturn + int(std::max<qsizetype>(0, buttons.indexOf(box.clickedButton())));
    });
}

} // namespace

int main(int argc, char** argv)
{
    UserDefaults& defaults = UserDefaults::standardUserDefaults();
    AppDelegate::registerStartDefaults(defaults);

    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    // Commands run without a display; the GUI application is made only for the window.
    QCoreApplication::setApplicationName(QStringLiteral("Lento"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LENTO_VERSION));
    std::optional<QCoreApplication> commandApp;
    if (!arguments.isEmpty() && arguments.first().startsWith(QLatin1Char('-')))
        commandApp.emplace(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const CommandLine command = CommandLine::run(arguments, out, err);
    if (command.exitStatus)
        return *command.exitStatus;
    commandApp.reset();

    // A Lento already running takes the file and comes to the front; this start ends there.
    const auto endedBy = [&err](SingleInstance::Answer answer) -> std::optional<int> {
        if (answer == SingleInstance::Answer::Taken)
            return 0;
        if (answer == SingleInstance::Answer::NobodyRuns)
            return std::nullopt;
        err << "Lento is running but does not answer.\n";
        return 1;
    };
    {
        // No display needed when the running window takes the file.
        QCoreApplication probe(argc, argv);
        if (const auto status = endedBy(SingleInstance::handOver(command.fileToOpen)))
            return *status;
    }

    QApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("lento"));
    // The socket is held before the window is built, so that a start close behind this one hands
    // over to it rather than making a window of its own.
    SingleInstance instance;
    if (const auto status = endedBy(instance.claim(command.fileToOpen)))
        return *status;

    ViewController viewController(defaults);
    viewController.viewDidLoad();
    AppDelegate delegate(&viewController, defaults);
    delegate.applicationWillFinishLaunching();
    QMainWindow* window = delegate.createMainWindow();
    presentAlertsAsMessageBoxes(window);
    window->show();
    delegate.applicationDidFinishLaunching();
    if (!command.fileToOpen.isEmpty())
        delegate.applicationOpenFile(command.fileToOpen);
    // Media keys and desktop widgets; without a session bus the window runs as before.
    MprisService mpris(&viewController);
    // What a later start handed over meanwhile opens now, after this start's own file.
    instance.setOpener([&](const QString& file) {
        viewController.openWindow();
        if (!file.isEmpty())
            delegate.applicationOpenFile(file);
    });
    QuitOnSignals::install();
    return app.exec();
}
