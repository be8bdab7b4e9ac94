// The store's search answer the genre is read from.
#include "base/Json.h"
#include "metadata/StoreGenre.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    (void)StoreGenre::parseGenre(Json::parse(bytes), QStringLiteral("2010"), QStringLiteral("Drama"));
    (void)StoreGenre::parseGenre(Json::parse(bytes), QString(), QString());
    return 0;
}
