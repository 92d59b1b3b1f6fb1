#include "app/SingleInstance.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>

#include <utility>

namespace {
// The running window answers as soon as it has the file, even before it is built.
constexpr char kAnswer[] = "ok\n";
} // namespace

QString SingleInstance::socketPath()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return QDir(folder).filePath(QStringLiteral("lento.socket"));
}

SingleInstance::Answer SingleInstance::handOver(const QString& file, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    // A missing socket, or one that nobody listens on, refuses at once.
    if (!socket.waitForConnected(timeoutMs))
        return Answer::NobodyRuns;
    const QString absolute = file.isEmpty() ? QString() : QFileInfo(file).absoluteFilePath();
    socket.write(absolute.toUtf8() + '\n');
    if (!socket.waitForBytesWritten(timeoutMs))
        return Answer::Silent;
    while (!socket.canReadLine())
        if (!socket.waitForReadyRead(timeoutMs))
            return Answer::Silent;
    return socket.readLine() == kAnswer ? Answer::Taken : Answer::Silent;
}

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent)
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readFrom(socket); });
            readFrom(socket);
        }
    });
}

SingleInstance::Answer SingleInstance::claim(const QString& file)
{
    const QString path = socketPath();
    // Starts close together take turns here: without it two could each find nobody, and the later
    // one would remove the earlier one's fresh socket as if a crash had left it.
    QLockFile turn(path + QStringLiteral(".lock"));
    turn.lock();
    if (const Answer answer = handOver(file); answer != Answer::NobodyRuns)
        return answer;
    // Nobody listens on what lies there: a crashed run's socket. Without a socket the window
    // still runs, only alone.
    QLocalServer::removeServer(path);
    m_server.listen(path);
    return Answer::NobodyRuns;
}

void SingleInstance::setOpener(std::function<void(const QString&)> open)
{
    m_open = std::move(open);
    for (const QString& file : std::exchange(m_waiting, {}))
        m_open(file);
}

void SingleInstance::readFrom(QLocalSocket* socket)
{
    while (socket->canReadLine()) {
        const QString file = QString::fromUtf8(socket->readLine()).chopped(1);
        if (m_open)
            m_open(file);
        else
            m_waiting << file;
        socket->write(kAnswer);
        socket->flush();
    }
}
