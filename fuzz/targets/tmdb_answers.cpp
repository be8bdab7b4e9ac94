// Movie database answers: search results, details, poster lists.
#include "base/Json.h"
#include "metadata/TMDB.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Json answer = Json::parse(bytes);
    (void)TMDB::parseDetails(answer);
    (void)TMDB::exactTitleIndex(answer, QStringLiteral("Inception"));
    (void)TMDB::closestTitleIndex(answer, QStringLiteral("Inception 2010"));
    const Json results = answer[QStringLiteral("results")];
    for (qsizetype i = 0; i < qMin<qsizetype>(results.count(), 50); ++i)
        (void)TMDB::matchRecord(results[i], QStringLiteral("English"), (i % 2) == 0);
    (void)TMDB::posterPathsInLanguage(answer, QStringLiteral("en"));
    (void)TMDB::beautifiedDate(QString::fromUtf8(bytes.left(16)));
    (void)TMDB::ratingForCertification(QString::fromUtf8(bytes.left(8)));
    return 0;
}
