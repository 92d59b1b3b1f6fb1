// store_saver STORE PATH: saves the store's two contents in turn, as fast as it can, until killed.
// Says "saved" once the first save is complete.
#include "SavedStores.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const SavedStore* store = argc == 3 ? savedStoreNamed(QString::fromLocal8Bit(argv[1])) : nullptr;
    if (!store)
        return 2;
    const QString path = QString::fromLocal8Bit(argv[2]);
    if (!store->save(path, 0))
        return 1;
    std::fputs("saved\n", stdout);
    std::fflush(stdout);
    for (int generation = 1;; generation ^= 1)
        if (!store->save(path, generation))
            return 1;
}
