// store_saver STORE PATH: saves the store's two contents in turn, as fast as it can, until killed.
// Says "saved" once the first save is complete.
#include "SavedStores.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const auto& stores = savedStores();
    const auto store = std::find_if(stores.begin(), stores.end(), [&](const SavedStore& s) { return argc == 3 && !qstrcmp(argv[1], s.name); });
    if (store == stores.end())
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
