#include "FuzzSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtGlobal>

#include <cstdio>
#include <cstdlib>

namespace {

// Every input logs why it was refused; thousands of such lines a second would only slow the run.
void discard(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    qInstallMessageHandler(&discard);
    return 0;
}

namespace fuzz {

QString scratchFolder()
{
    static QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/lento-fuzz-XXXXXX"));
    return folder.path();
}

QString writeScratchFile(const QString& name, const uint8_t* data, size_t size)
{
    const QString path = scratchFolder() + QLatin1Char('/') + name;
    QFile file(path);
    require(file.open(QIODevice::WriteOnly | QIODevice::Truncate), "the scratch file can be written");
    require(file.write(reinterpret_cast<const char*>(data), qint64(size)) == qint64(size), "the input is written whole");
    return path;
}

void require(bool ok, const char* what)
{
    if (ok)
        return;
    std::fprintf(stderr, "broken rule: %s\n", what);
    std::abort();
}

} // namespace fuzz
