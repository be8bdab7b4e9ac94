#include "creation/ConverterArguments.h"
#include "creation/ConverterOutput.h"
#include "creation/ConverterRunner.h"
#include "creation/MetadataParsingHelper.h"
#include "base/Diagnostics.h"
#include "support/TestEnvironment.h"

#include <plist/plist.h>

#include <cstdlib>

#include <QRegularExpression>
#include <QSignalSpy>

namespace {

QVariantMap track(const char *type, const char *codec, const char *id)
{
    return {{TrackKey::trackType, QString::fromLatin1(type)},
            {TrackKey::trackCodec, QString::fromLatin1(codec)},
            {TrackKey::trackID, QString::fromLatin1(id)}};
}

MovieItem item(const QVariantList &tracks, bool subtitle)
{
    MovieItem result{{ItemKey::filePath, QStringLiteral("/in/movie.mkv")},
                     {ItemKey::tracksInfo, tracks},
                     {ItemKey::subtitleFound, subtitle}};
    if (subtitle)
        result.insert(ItemKey::downloadedSubtitlePath, QStringLiteral("/home/u/Subtitles/movie.srt"));
    return result;
}

QString text(plist_t node)
{
    char *value = nullptr;
    plist_get_string_val(node, &value);
    const QString result = QString::fromUtf8(value ? value : "");
    std::free(value);
    return result;
}

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

/** The names of a property list array of {"name": ...} dictionaries. */
QStringList names(plist_t root, const char *key)
{
    plist_t array = plist_dict_get_item(root, key);
    if (!array)
        return {QStringLiteral("<missing>")};
    QStringList result;
    for (uint32_t i = 0; i < plist_array_get_size(array); ++i)
        result.append(text(plist_dict_get_item(plist_array_get_item(array, i), "name")));
    return result;
}

} // namespace

class TestConverterArguments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void argumentTable_data()
    {
        QTest::addColumn<QVariantList>("tracks");
        QTest::addColumn<bool>("subtitle");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("copy h264 and aac")
            << QVariantList{track("Video", "h264", "0"), track("Audio", "aac", "1")} << false
            << words("-i /in/movie.mkv -map 0:0 -c:v copy -map 0:1 -c:a copy -y /out/T.mp4");
        QTest::newRow("re-encode, first audio, subtitle")
            << QVariantList{track("Video", "mpeg4", "0"), track("Audio", "dts", "1"), track("Audio", "ac3", "2")} << true
            << words("-i /in/movie.mkv -sub_charenc UTF-8 -f srt -i /home/u/Subtitles/movie.srt -map 0:0 -c:v libx264 -ac 2 "
                     "-map 0:1 -c:a aac -map 1:s:0 -c:s mov_text -metadata:s:2 language=eng -y /out/T.mp4");
        QTest::newRow("ac3 copied")
            << QVariantList{track("Video", "h264", "1"), track("Audio", "ac3", "0")} << false
            << words("-i /in/movie.mkv -map 0:1 -c:v copy -map 0:0 -c:a copy -y /out/T.mp4");
        QTest::newRow("nothing to map, subtitle")
            << QVariantList{track("Other", "bin_data", "0")} << true
            << words("-i /in/movie.mkv -sub_charenc UTF-8 -f srt -i /home/u/Subtitles/movie.srt -map 1:s:0 -c:s mov_text "
                     "-metadata:s:0 language=eng -y /out/T.mp4");
        QTest::newRow("audio only, subtitle")
            << QVariantList{track("Audio", "aac", "0")} << true
            << words("-i /in/movie.mkv -sub_charenc UTF-8 -f srt -i /home/u/Subtitles/movie.srt -map 0:0 -c:a copy -map 1:s:0 "
                     "-c:s mov_text -metadata:s:1 language=eng -y /out/T.mp4");
        QTest::newRow("second video dropped")
            << QVariantList{track("Video", "hevc", "0"), track("Video", "h264", "1"), track("Subtitle", "subrip", "2"),
                            track("Poster", "png", "3")}
            << false << words("-i /in/movie.mkv -map 0:0 -c:v libx264 -y /out/T.mp4");
    }

    void subtitleFormatIsNamed_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("format");
        QTest::newRow("SubRip") << QStringLiteral("/h/Subtitles/Heat.srt") << QStringLiteral("srt");
        QTest::newRow("MicroDVD") << QStringLiteral("/h/Subtitles/Heat.sub") << QStringLiteral("microdvd");
        QTest::newRow("SubViewer") << QStringLiteral("/h/Subtitles/Heat.sbv") << QStringLiteral("subviewer");
        QTest::newRow("WebVTT") << QStringLiteral("/h/Subtitles/Heat.VTT") << QStringLiteral("webvtt");
        QTest::newRow("ASS") << QStringLiteral("/h/Subtitles/Heat.1995.ass") << QStringLiteral("ass");
    }

    void subtitleFormatIsNamed()
    {
        QFETCH(QString, path);
        QFETCH(QString, format);
        QCOMPARE(ConverterArguments::subtitleInputFormat(path), format);
    }

    void argumentTable()
    {
        QFETCH(QVariantList, tracks);
        QFETCH(bool, subtitle);
        QFETCH(QStringList, expected);
        QCOMPARE(ConverterArguments::converterArgumentsForItem(item(tracks, subtitle), QStringLiteral("/out/T.mp4"),
                                                               QStringLiteral("eng")),
                 expected);
    }

    void pathsAndActions()
    {
        QCOMPARE(ConverterArguments::finalMoviePath({{ItemKey::movieTitle, QStringLiteral("AC/DC: Live")}},
                                                    QStringLiteral("/dest")),
                 QStringLiteral("/dest/AC:DC: Live.mp4"));
        QCOMPARE(ConverterArguments::finalMoviePath({{ItemKey::movieTitle, QString()}, {ItemKey::filePath, QStringLiteral("/in/Holiday.2019.mkv")}},
                                                    QStringLiteral("/dest")),
                 QStringLiteral("/dest/Holiday.2019.mp4"));
        QCOMPARE(ConverterArguments::temporaryMoviePath(QStringLiteral("/dest/Heat.mp4"), QStringLiteral("0A1B2C3D")),
                 QStringLiteral("/dest/Heat (unfinished 0A1B2C3D).mp4"));
        const QString longName = ConverterArguments::temporaryMoviePath(QStringLiteral("/dest/") + QString(250, QLatin1Char('x'))
                                                                            + QStringLiteral(".mp4"), QStringLiteral("0A1B2C3D"));
        QVERIFY(longName.section(QLatin1Char('/'), -1).toUtf8().size() <= 255 && longName.endsWith(QLatin1String("(unfinished 0A1B2C3D).mp4")));

        QTemporaryDir dir;
        const QString upper = dir.filePath(QStringLiteral("Movie.MP4"));
        QFile(upper).open(QIODevice::WriteOnly);
        const MovieItem found{{ItemKey::filePath, upper}, {ItemKey::movieFoundStatus, true}};
        MovieItem unknown = found;
        unknown.insert(ItemKey::movieFoundStatus, false);
        MovieItem missing = found;
        missing.insert(ItemKey::filePath, dir.filePath(QStringLiteral("gone.mp4")));
        const auto action = [](const MovieItem &item, int preset) {
            return ConverterArguments::actionName(ConverterArguments::creationActionForItem(item, Preset(preset)));
        };
        QCOMPARE((QStringList{action(found, 1), action(found, 2), action(found, 3), action(found, 4), action(unknown, 1),
                              action(missing, 1)}),
                 words("tag move convert convert convert convert"));
    }

    void progressFromConverterOutput_data()
    {
        QTest::addColumn<QString>("chunk");
        QTest::addColumn<double>("duration");
        QTest::addColumn<int>("current");
        QTest::addColumn<int>("total");
        QTest::addColumn<double>("value"); // -1: no value
        const QString line = QStringLiteral("frame= 100 fps= 25 q=28.0 size= 1024kB time=00:00:04.00 bitrate=2097.2kbits/s");
        QTest::newRow("single item") << line << 8.0 << 0 << 1 << 50.0;
        QTest::newRow("second of four") << line << 8.0 << 1 << 4 << 37.5;
        QTest::newRow("earlier time stamp wins")
            << QStringLiteral("Duration: 00:00:06.00, start\n") + line << 8.0 << 0 << 1 << 75.0;
        QTest::newRow("conversion failed") << QStringLiteral("Conversion failed! ") + line << 8.0 << 0 << 1 << -1.0;
        QTest::newRow("time not available") << QStringLiteral("size=N/A time=N/A bitrate=N/A") << 8.0 << 0 << 1 << -1.0;
        QTest::newRow("zero duration") << line << 0.0 << 0 << 1 << -1.0;
        QTest::newRow("no progress") << QStringLiteral("Stream mapping:") << 8.0 << 0 << 1 << -1.0;
    }

    void progressFromConverterOutput()
    {
        QFETCH(QString, chunk);
        QFETCH(double, duration);
        QFETCH(int, current);
        QFETCH(int, total);
        QFETCH(double, value);
        const std::optional<double> progress = ConverterRunner::progressForLine(chunk, duration, current, total);
        if (value < 0)
            QVERIFY(!progress.has_value());
        else
            QCOMPARE(progress.value_or(-1), value);
    }

    void outputIsReadAsWholeLines_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QStringList>("lines");
        const QByteArray run = "ffmpeg version 5.1.6-0+deb12u1 Copyright (c) 2000-2024 the FFmpeg developers\n"
                               "Input #0, matroska,webm, from '/in/Am\xc3\xa9lie \xe6\x9d\xb1\xe4\xba\xac.mkv':\n"
                               "  Duration: 00:00:10.02, start: 0.000000, bitrate: 1208 kb/s\n\n"
                               "frame=  120 fps=0.0 q=-1.0 size=     512kB time=00:00:05.00 bitrate= 838.9kbits/s\r"
                               "frame=  250 fps=0.0 q=-1.0 Lsize=    1100kB time=00:00:10.00 bitrate= 900.1kbits/s\r\n"
                               "video:1000kB audio:90kB";
        QTest::newRow("a conversion") << run
            << QStringList{QStringLiteral("ffmpeg version 5.1.6-0+deb12u1 Copyright (c) 2000-2024 the FFmpeg developers"),
                           QStringLiteral("Input #0, matroska,webm, from '/in/Am\u00e9lie \u6771\u4eac.mkv':"),
                           QStringLiteral("  Duration: 00:00:10.02, start: 0.000000, bitrate: 1208 kb/s"),
                           QStringLiteral("frame=  120 fps=0.0 q=-1.0 size=     512kB time=00:00:05.00 bitrate= 838.9kbits/s"),
                           QStringLiteral("frame=  250 fps=0.0 q=-1.0 Lsize=    1100kB time=00:00:10.00 bitrate= 900.1kbits/s"),
                           QStringLiteral("video:1000kB audio:90kB")};
        QTest::newRow("blank lines only") << QByteArray("\r\n \n\r\r") << QStringList();
    }

    void outputIsReadAsWholeLines()
    {
        QFETCH(QByteArray, output);
        QFETCH(QStringList, lines);
        // Whatever the reads' boundaries, the same lines come out.
        for (qsizetype cut = 0; cut <= output.size(); ++cut) {
            ConverterOutput reader;
            QStringList got = reader.feed(output.first(cut));
            got += reader.feed(output.sliced(cut));
            got += reader.finish();
            QVERIFY2(got == lines, qPrintable(QStringLiteral("cut at %1: ").arg(cut) + got.join(QLatin1Char('|'))));
        }
        ConverterOutput byteByByte;
        QStringList got;
        for (const char c : std::as_const(output))
            got += byteByByte.feed(QByteArray(1, c));
        QCOMPARE(got + byteByByte.finish(), lines);
    }

    void runnerReportsLinesAndProgress()
    {
        // A converter that writes a progress line in two parts and says it failed, exiting 0 all the same.
        QTemporaryDir tools;
        const QString fake = tools.filePath(QStringLiteral("ffmpeg"));
        QFile script(fake);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nprintf 'Stream mapping:\\n  Stream #0:0 -> #0:0 (copy)\\nframe= 5 ti'\nsleep 0.3\n"
                     "printf 'me=00:00:05.00 bitrate=1\\r'\nsleep 0.3\nprintf 'Conversion failed!\\n'\n");
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("KINOVELA_FFMPEG", QFile::encodeName(fake));
        ConverterRunner runner;
        QSignalSpy progress(&runner, &ConverterRunner::progressChanged);
        QSignalSpy finished(&runner, &ConverterRunner::finished);
        Diagnostics::startCapture();
        runner.terminalProcessWithTerminalArgs({}, 10.0, 1, 2);
        QVERIFY(finished.wait(10000));
        const QStringList lines = Diagnostics::stopCapture();
        qunsetenv("KINOVELA_FFMPEG");
        QCOMPARE(progress.size(), 1);
        QCOMPARE(progress.at(0).at(0).toDouble(), 75.0);
        QCOMPARE(lines, (QStringList{QStringLiteral("Got Error: Stream mapping:"),
                                     QStringLiteral("Got Error: Stream #0:0 -> #0:0 (copy)"), QStringLiteral("Conversion failed!")}));
        const Status status = finished.at(0).at(0).value<Status>();
        QCOMPARE(status.errorText(), QStringLiteral("the converter reported \"Conversion failed!\""));
    }

    void castAndCrewPropertyList()
    {
        const MovieItem item{{ItemKey::movieCast, QStringLiteral("Ann Lee\nBo Chan\n")},
                             {ItemKey::movieDirectors, QString()},
                             {ItemKey::movieProducers, QStringLiteral("P")},
                             {ItemKey::movieStudios, QStringLiteral("Alpha Films\nBeta Pictures")},
                             {ItemKey::movieTitle, QStringLiteral("ignored")}};
        const QString xml = MetadataParsingHelper::getPLISTWithDict(item);
        QVERIFY(xml.startsWith(QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>")));
        const QByteArray bytes = xml.toUtf8();
        plist_t root = nullptr;
        plist_from_xml(bytes.constData(), uint32_t(bytes.size()), &root);
        QVERIFY(root);
        QCOMPARE(plist_dict_get_size(root), 4u); // no screenwriters in the item
        QCOMPARE(names(root, "cast"), (QStringList{QStringLiteral("Ann Lee"), QStringLiteral("Bo Chan"), QString()}));
        QCOMPARE(names(root, "directors"), QStringList{QString()});
        QCOMPARE(names(root, "producers"), QStringList{QStringLiteral("P")});
        QCOMPARE(text(plist_dict_get_item(root, "studio")), QStringLiteral("Alpha Films, Beta Pictures"));
        plist_free(root);
        // Keys in ascending order, so the text is reproducible.
        QVERIFY(xml.indexOf(QStringLiteral("<key>cast</key>")) < xml.indexOf(QStringLiteral("<key>directors</key>")));
        QVERIFY(xml.indexOf(QStringLiteral("<key>producers</key>")) < xml.indexOf(QStringLiteral("<key>studio</key>")));
    }
};

KINOVELA_TEST_MAIN(TestConverterArguments)
#include "tst_converterarguments.moc"
