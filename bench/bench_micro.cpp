// Micro-benchmarks of the pure pieces that run once per movie or per result,
// and of what each paint of a list row asks of the model.
#include "app/MovieListModel.h"
#include "base/ItemImage.h"
#include "base/MovieItemKeys.h"
#include "creation/ConverterArguments.h"
#include "creation/MetadataParsingHelper.h"
#include "media/FileProbe.h"
#include "media/Levenshtein.h"

#include <benchmark/benchmark.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QVariantMap>

namespace {

const QByteArray Report = QByteArrayLiteral(
    R"({"streams":[{"index":0,"codec_name":"h264","codec_type":"video","width":1920,"height":1080,)"
    R"("r_frame_rate":"24000/1001","tags":{"language":"und"}},)"
    R"({"index":1,"codec_name":"aac","codec_type":"audio","channels":6,"channel_layout":"5.1","tags":{"language":"eng"}},)"
    R"({"index":2,"codec_name":"ac3","codec_type":"audio","channels":2,"tags":{"language":"fre"}},)"
    R"({"index":3,"codec_name":"subrip","codec_type":"subtitle","tags":{"language":"eng","title":"English"}}],)"
    R"("format":{"filename":"/movies/Inception (2010).mkv","nb_streams":4,"format_name":"matroska,webm",)"
    R"("duration":"8880.128000","size":"1073741824","bit_rate":"967000",)"
    R"("tags":{"title":"Inception","encoder":"libebml v1.4.2 + libmatroska v1.6.4"}}})");

// The probe reader looks at the file itself too (its size): give it a real one.
const QString MoviePath = QDir::tempPath() + QStringLiteral("/kinovela-bench-Inception (2010).mkv");

MovieItem sampleItem()
{
    const FileProbe probe = FileProbe::fromReport(MoviePath, Report);
    MovieItem item;
    item.insert(ItemKey::filePath, MoviePath);
    item.insert(ItemKey::tracksInfo, probe.tracksInfo);
    item.insert(ItemKey::movieTitle, QStringLiteral("Inception"));
    item.insert(ItemKey::movieFoundStatus, true);
    item.insert(ItemKey::subtitleFound, true);
    item.insert(ItemKey::downloadedSubtitlePath, QStringLiteral("/tmp/Inception.eng.srt"));
    item.insert(ItemKey::movieCast, QStringLiteral("Leonardo DiCaprio, Joseph Gordon-Levitt, Elliot Page, Tom Hardy, "
                                                   "Ken Watanabe, Cillian Murphy, Marion Cotillard, Michael Caine"));
    item.insert(ItemKey::movieDirectors, QStringLiteral("Christopher Nolan"));
    item.insert(ItemKey::movieProducers, QStringLiteral("Emma Thomas, Christopher Nolan"));
    item.insert(ItemKey::movieScreenwriters, QStringLiteral("Christopher Nolan"));
    item.insert(ItemKey::movieStudios, QStringLiteral("Legendary Pictures, Syncopy, Warner Bros. Pictures"));
    return item;
}

void editDistance(benchmark::State &state)
{
    const QString a = QStringLiteral("The Lord of the Rings The Fellowship of the Ring 2001");
    const QString b = QStringLiteral("the.lord.of.the.rings.fellowship.2001.1080p");
    for (auto _ : state)
        benchmark::DoNotOptimize(Levenshtein::getDistanceBetweenStrings(a, b));
}
BENCHMARK(editDistance);

void probeReport(benchmark::State &state)
{
    for (auto _ : state) {
        FileProbe probe = FileProbe::fromReport(MoviePath, Report);
        benchmark::DoNotOptimize(probe);
    }
}
BENCHMARK(probeReport);

void argumentList(benchmark::State &state)
{
    const MovieItem item = sampleItem();
    for (auto _ : state)
        benchmark::DoNotOptimize(
            ConverterArguments::converterArgumentsForItem(item, QStringLiteral("/out/.kinovela-tmp.mp4"), QStringLiteral("eng")));
}
BENCHMARK(argumentList);

void propertyList(benchmark::State &state)
{
    const MovieItem item = sampleItem();
    for (auto _ : state)
        benchmark::DoNotOptimize(MetadataParsingHelper::getPLISTWithDict(item));
}
BENCHMARK(propertyList);

// A poster cell painted again: the thumbnail is looked up, not decoded or hashed anew.
void posterCell(benchmark::State &state)
{
    QImage picture(500, 750, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, qRgb(x % 256, y % 256, (x * y) % 256));
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    MovieListModel list;
    list.append({{ItemKey::moviePoster, QVariant::fromValue(ItemImage::fromEncoded(bytes))}});
    const QModelIndex cell = list.index(0, MovieListModel::PosterColumn);
    for (auto _ : state)
        benchmark::DoNotOptimize(list.data(cell, Qt::DecorationRole));
}
BENCHMARK(posterCell);

} // namespace

int main(int argc, char **argv)
{
    QFile movie(MoviePath);
    if (!movie.open(QIODevice::WriteOnly) || movie.write(QByteArray(4096, 'm')) != 4096)
        return 1;
    movie.close();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QFile::remove(MoviePath);
    return 0;
}
