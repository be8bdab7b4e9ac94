// Subtitle service answers (XML-RPC), and the choice made from them.
#include "subtitles/OpenSubsAccess.h"
#include "subtitles/XmlRpc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray xml(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QVariant> value = XmlRpc::parseResponse(xml);
    if (value && value->userType() == QMetaType::QVariantMap) {
        const QVariantMap answer = value->toMap();
        (void)OpenSubsAccess::listRecords(answer);
        (void)OpenSubsAccess::firstChoice(answer);
        (void)OpenSubsAccess::closestToEndChoice(answer, 5400.0);
    }
    QString method;
    QVariantList parameters;
    (void)XmlRpc::parseCall(xml, &method, &parameters);
    return 0;
}
