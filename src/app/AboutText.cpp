#include "app/AboutText.h"

#include <QCoreApplication>
#include <QStringList>

#include <SDL.h>
#include <fftw3.h>
#include <rubberband/RubberBandStretcher.h>
#include <sndfile.h>
#include <sqlite3.h>
#include <taglib/taglib.h>

extern "C" {
#include <libavutil/avutil.h>
}

QString aboutText()
{
    SDL_version sdl;
    SDL_GetVersion(&sdl);
    const QStringList libraries{
        QStringLiteral("Qt %1").arg(QString::fromLatin1(qVersion())),
        QStringLiteral("FFmpeg %1").arg(QString::fromLatin1(av_version_info())),
        QStringLiteral("Rubber Band %1").arg(QStringLiteral(RUBBERBAND_VERSION)),
        QString::fromLatin1(sf_version_string()),
        QStringLiteral("SDL %1.%2.%3").arg(sdl.major).arg(sdl.minor).arg(sdl.patch),
        QString::fromLatin1(fftwf_version),
        QStringLiteral("TagLib %1.%2.%3").arg(TAGLIB_MAJOR_VERSION).arg(TAGLIB_MINOR_VERSION).arg(TAGLIB_PATCH_VERSION),
        QStringLiteral("SQLite %1").arg(QString::fromLatin1(sqlite3_libversion())),
    };
    return QCoreApplication::translate("About",
                                       "<h3>Lento %1</h3>"
                                       "<p>A music-practice player: slow down, loop and work out a piece by ear.</p>"
                                       "<p>Built on %2.</p>"
                                       "<p>Free software under the GNU General Public License, version 2 or later, as the "
                                       "libraries it uses allow.</p>")
        .arg(QCoreApplication::applicationVersion(), libraries.join(QStringLiteral(", ")));
}
