// Movie database answers: search results, details, poster lists.
#include "base/Json.h"
#include "base/ReleaseDate.h"
#include "base/UsRating.h"
#include "metadata/TmdbAnswers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Json answer = Json::parse(bytes);
    (void)TmdbAnswers::parseDetails(answer);
    (void)TmdbAnswers::exactTitleIndex(answer, QStringLiteral("Inception"));
    (void)TmdbAnswers::closestTitleIndex(answer, QStringLiteral("Inception 2010"));
    const Json results = answer[QStringLiteral("results")];
    for (qsizetype i = 0; i < qMin<qsizetype>(results.count(), 50); ++i)
        (void)TmdbAnswers::matchRecord(results[i], QStringLiteral("English"), (i % 2) == 0);
    (void)TmdbAnswers::posterPathsInLanguage(answer, QStringLiteral("en"));
    (void)ReleaseDate::displayTextOf(QString::fromUtf8(bytes.left(16)));
    (void)UsRating::forCertification(QString::fromUtf8(bytes.left(8)));
    return 0;
}
