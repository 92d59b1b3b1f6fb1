#include "app/SingleInstance.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {
// The running window answers once the file is on its way to being opened.
constexpr char kAnswer[] = "ok\n";
} // namespace

QString SingleInstance::socketPath()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return QDir(folder).filePath(QStringLiteral("lento.socket"));
}

bool SingleInstance::handOver(const QString& file, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMs))
        return false;
    const QString absolute = file.isEmpty() ? QString() : QFileInfo(file).absoluteFilePath();
    socket.write(absolute.toUtf8() + '\n');
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    while (!socket.canReadLine())
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
    return socket.readLine() == kAnswer;
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

bool SingleInstance::listen(std::function<void(const QString&)> open)
{
    m_open = std::move(open);
    const QString path = socketPath();
    if (m_server.listen(path))
        return true;
    // Nobody answered before this start, so what lies there is a crashed run's socket.
    QLocalServer::removeServer(path);
    return m_server.listen(path);
}

void SingleInstance::readFrom(QLocalSocket* socket)
{
    while (socket->canReadLine()) {
        const QString file = QString::fromUtf8(socket->readLine()).chopped(1);
        if (m_open)
            m_open(file);
        socket->write(kAnswer);
        socket->flush();
    }
}
