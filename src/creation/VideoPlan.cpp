#include "creation/VideoPlan.h"

#include <QVariantList>

#include <cmath>

namespace VideoPlan {

namespace {

QString text(const QVariantMap &map, const char *key)
{
    return map.value(QLatin1String(key)).toString();
}

/** The side data entry of @p type ("Mastering display metadata", ...), or an empty map. */
QVariantMap sideData(const QVariantMap &stream, const char *type)
{
    for (const QVariant &entry : stream.value(QStringLiteral("side_data_list")).toList()) {
        if (text(entry.toMap(), "side_data_type") == QLatin1String(type))
            return entry.toMap();
    }
    return {};
}

/** A rational as ffprobe writes it ("34000/50000") scaled to @p unit steps, rounded. */
qint64 scaled(const QVariantMap &map, const char *key, double unit)
{
    const QStringList parts = text(map, key).split(QLatin1Char('/'));
    const double denominator = parts.size() == 2 ? parts.at(1).toDouble() : 1.0;
    return denominator == 0 ? 0 : std::llround(parts.at(0).toDouble() / denominator * unit);
}

QString masteringDisplay(const QVariantMap &stream)
{
    const QVariantMap display = sideData(stream, "Mastering display metadata");
    if (display.isEmpty())
        return {};
    const auto point = [&](const char *x, const char *y) {
        return QStringLiteral("(%1,%2)").arg(scaled(display, x, 50000)).arg(scaled(display, y, 50000));
    };
    return QStringLiteral("G") + point("green_x", "green_y") + QStringLiteral("B") + point("blue_x", "blue_y")
           + QStringLiteral("R") + point("red_x", "red_y") + QStringLiteral("WP") + point("white_point_x", "white_point_y")
           + QStringLiteral("L(%1,%2)")
                 .arg(scaled(display, "max_luminance", 10000))
                 .arg(scaled(display, "min_luminance", 10000));
}

int bitDepth(const QVariantMap &stream)
{
    const QString format = text(stream, "pix_fmt");
    if (format.contains(QLatin1String("p10")) || format.contains(QLatin1String("p12")))
        return format.contains(QLatin1String("p10")) ? 10 : 12;
    const int raw = stream.value(QStringLiteral("bits_per_raw_sample")).toInt();
    return raw > 8 ? raw : 8;
}

/** Dolby Vision that MP4 can carry (profiles 5, 8 and 9, one layer) is copied with its configuration box. */
Decision dolbyVision(const QVariantMap &record, Decision copy)
{
    const int profile = record.value(QStringLiteral("dv_profile")).toInt();
    if (profile == 5 || profile == 8 || profile == 9) {
        copy.globalOptions << QStringLiteral("-strict") << QStringLiteral("unofficial");
        copy.reason = QStringLiteral("HEVC with Dolby Vision profile %1, kept").arg(profile);
    } else {
        copy.reason = QStringLiteral("Dolby Vision profile %1 cannot be written to MP4: the HDR10 base is kept").arg(profile);
    }
    return copy;
}

} // namespace

bool isHdr(const QVariantMap &stream)
{
    const QString transfer = text(stream, "color_transfer");
    return transfer == QLatin1String("smpte2084") || transfer == QLatin1String("arib-std-b67");
}

QString x265ColourParameters(const QVariantMap &stream)
{
    QStringList parameters{QStringLiteral("log-level=error")};
    for (const auto &[field, name] : {std::pair{"color_primaries", "colorprim"}, std::pair{"color_transfer", "transfer"},
                                      std::pair{"color_space", "colormatrix"}}) {
        if (!text(stream, field).isEmpty() && text(stream, field) != QLatin1String("unknown"))
            parameters << QLatin1String(name) + QLatin1Char('=') + text(stream, field);
    }
    if (text(stream, "color_transfer") == QLatin1String("smpte2084"))
        parameters << QStringLiteral("hdr10=1") << QStringLiteral("repeat-headers=1");
    if (const QString display = masteringDisplay(stream); !display.isEmpty())
        parameters << QStringLiteral("master-display=") + display;
    const QVariantMap light = sideData(stream, "Content light level metadata");
    if (!light.isEmpty())
        parameters << QStringLiteral("max-cll=%1,%2").arg(text(light, "max_content"), text(light, "max_average"));
    return parameters.join(QLatin1Char(':'));
}

Decision decide(const QVariantMap &stream)
{
    const QString codec = text(stream, "codec_name");
    const QString format = text(stream, "pix_fmt");
    const bool plain420 = format.isEmpty() || format == QLatin1String("yuv420p") || format == QLatin1String("yuvj420p");
    if (codec == QLatin1String("h264") && plain420)
        return {QStringLiteral("copy"), codec, QStringLiteral("Apple players play 8-bit H.264"), {QStringLiteral("-c:%1"), QStringLiteral("copy")}, {}};
    if (codec == QLatin1String("hevc")) {
        Decision copy{QStringLiteral("copy"), codec, QStringLiteral("Apple players play HEVC written as hvc1"),
                      {QStringLiteral("-c:%1"), QStringLiteral("copy"), QStringLiteral("-tag:%1"), QStringLiteral("hvc1")}, {}};
        const QVariantMap record = sideData(stream, "DOVI configuration record");
        return record.isEmpty() ? copy : dolbyVision(record, copy);
    }
    const QString why = QStringLiteral("Apple players cannot play %1%2").arg(codec, bitDepth(stream) > 8 ? QStringLiteral(" (%1-bit)").arg(bitDepth(stream)) : QString());
    if (isHdr(stream)) {
        QStringList options{QStringLiteral("-c:%1"), QStringLiteral("libx265"), QStringLiteral("-pix_fmt:%1"),
                            QStringLiteral("yuv420p10le"), QStringLiteral("-tag:%1"), QStringLiteral("hvc1"),
                            QStringLiteral("-x265-params:%1"), x265ColourParameters(stream)};
        return {QStringLiteral("encode"), QStringLiteral("hevc"), why + QStringLiteral(": 10-bit HEVC, HDR kept"), options, {}};
    }
    return {QStringLiteral("encode"), QStringLiteral("h264"), why + QStringLiteral(": 8-bit H.264"),
            {QStringLiteral("-c:%1"), QStringLiteral("libx264"), QStringLiteral("-pix_fmt:%1"), QStringLiteral("yuv420p")}, {}};
}

} // namespace VideoPlan
