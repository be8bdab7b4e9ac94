// Times one in-place tagging of an MP4 with the full tag set and a poster:
//   bench_tag FILE.mp4 POSTER.jpg      prints the seconds taken
#include "base/ItemImage.h"
#include "base/MovieItemKeys.h"
#include "creation/TagWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: bench_tag FILE.mp4 POSTER.jpg\n");
        return 2;
    }
    QFile poster(arguments.at(2));
    if (!poster.open(QIODevice::ReadOnly))
        return 2;
    MovieItem item;
    item.insert(ItemKey::movieTitle, QStringLiteral("Inception"));
    item.insert(ItemKey::movieGenre, QStringLiteral("Sci-Fi & Fantasy"));
    item.insert(ItemKey::movieTagline, QStringLiteral("Your mind is the scene of the crime."));
    item.insert(ItemKey::movieOverview, QString(600, QLatin1Char('o')));
    item.insert(ItemKey::movieReleaseDate_YYYYhMMhDD, QStringLiteral("2010-07-15"));
    item.insert(ItemKey::movieCast, QStringLiteral("Leonardo DiCaprio, Joseph Gordon-Levitt, Elliot Page"));
    item.insert(ItemKey::movieDirectors, QStringLiteral("Christopher Nolan"));
    item.insert(ItemKey::moviePoster, QVariant::fromValue(ItemImage(poster.readAll(), QStringLiteral("poster"))));

    QElapsedTimer timer;
    timer.start();
    const Status result = TagWriter::writeTagsWithFileAtPath(arguments.at(1), item);
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    if (!result) {
        std::fprintf(stderr, "bench_tag: %s\n", qPrintable(result.errorText()));
        return 1;
    }
    std::printf("%.4f\n", seconds);
    return 0;
}
