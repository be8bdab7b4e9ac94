#include "cli/CliSupport.h"

#include "base/ItemImage.h"
#include "base/LanguageList.h"
#include "base/Progress.h"
#include "base/UserSettings.h"
#include "base/UsRating.h"
#include "cli/CommandTable.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <cstdio>

namespace CliSupport {

QString ratingLabel(const QString &rating)
{
    return UsRating::labelFor(rating).value_or(rating);
}

namespace {

bool progressShown = true;

} // namespace

Arguments parse(const QStringList &arguments, const QStringList &flagNames, const QStringList &valueOptions)
{
    Arguments result;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (optionsEnded || !argument.startsWith(QLatin1String("--"))) {
            result.positional.append(argument);
            continue;
        }
        if (argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        const QString name = equals < 0 ? argument : argument.left(equals);
        if (flagNames.contains(name) && equals < 0) {
            result.flags.insert(name);
        } else if (valueOptions.contains(name)) {
            if (equals >= 0) {
                result.values.insert(name, argument.mid(equals + 1));
            } else if (i + 1 < arguments.size()) {
                result.values.insert(name, arguments.at(++i));
            } else {
                result.error = QStringLiteral("option '%1' needs a value").arg(name);
                return result;
            }
        } else {
            result.error = QStringLiteral("unknown option '%1'").arg(argument);
            return result;
        }
    }
    return result;
}

Arguments parseFor(const QString &command, const QStringList &arguments)
{
    const CommandTable::Command *entry = CommandTable::find(command);
    Q_ASSERT(entry);
    return parse(arguments, CommandTable::flagNames(*entry), CommandTable::valueOptionNames(*entry));
}

GlobalOptions takeGlobalOptions(QStringList &arguments)
{
    GlobalOptions global;
    bool verbose = false;
    bool quiet = false;
    QStringList rest;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--")) {
            rest += arguments.mid(i);
            break;
        }
        if (argument == QLatin1String("-v") || argument == QLatin1String("--verbose")) {
            verbose = true;
        } else if (argument == QLatin1String("-q") || argument == QLatin1String("--quiet")) {
            quiet = true;
        } else if (argument == QLatin1String("-h") || argument == QLatin1String("--help")) {
            global.help = true;
        } else if (argument.startsWith(QLatin1String("--log="))) {
            global.logFile = argument.mid(6);
        } else if (argument == QLatin1String("--log")) {
            if (i + 1 == arguments.size())
                global.error = QStringLiteral("option '--log' needs a value");
            else
                global.logFile = arguments.at(++i);
        } else {
            rest.append(argument);
        }
    }
    if (verbose && quiet)
        global.error = QStringLiteral("-v and -q cannot be used together");
    global.threshold = verbose ? Diagnostics::Level::Diagnostic
                               : (quiet ? Diagnostics::Level::Error : Diagnostics::Level::Result);
    arguments = rest;
    return global;
}

QString absolutePath(const QString &path)
{
    return QFileInfo(path).absoluteFilePath();
}

QString displayPath(const QString &path)
{
    const QString relative = QDir::current().relativeFilePath(path);
    return relative.startsWith(QLatin1String("..")) || QFileInfo(relative).isAbsolute() ? path : relative;
}

QJsonValue toJson(const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return QJsonValue::Null;
    if (value.metaType() == QMetaType::fromType<ItemImage>()) {
        const ItemImage image = value.value<ItemImage>();
        const QSize size = image.size();
        QJsonObject object{{QStringLiteral("width"), size.isValid() ? size.width() : 0},
                           {QStringLiteral("height"), size.isValid() ? size.height() : 0}};
        if (!image.resourceName().isEmpty())
            object.insert(QStringLiteral("resource"), image.resourceName());
        return object;
    }
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), toJson(it.value()));
        return object;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QJsonArray array;
        for (const QVariant &element : value.toList())
            array.append(toJson(element));
        return array;
    }
    case QMetaType::QUrl: {
        const QUrl url = value.toUrl();
        return url.isLocalFile() ? url.toLocalFile() : url.toString();
    }
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return value.toLongLong();
    case QMetaType::Double:
    case QMetaType::Float:
        return value.toDouble();
    case QMetaType::QJsonValue:
        return value.toJsonValue();
    case QMetaType::QJsonObject:
        return value.toJsonObject();
    case QMetaType::QJsonArray:
        return value.toJsonArray();
    default:
        return value.toString();
    }
}

QJsonArray toJsonArray(const QList<QVariantMap> &items)
{
    QJsonArray array;
    for (const QVariantMap &item : items)
        array.append(toJson(item));
    return array;
}

TextOut::~TextOut()
{
    flush();
    const QByteArray bytes = Diagnostics::printable(text).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

void printJson(const QJsonValue &value)
{
    QJsonDocument document;
    if (value.isArray())
        document = QJsonDocument(value.toArray());
    else
        document = QJsonDocument(value.toObject());
    const QByteArray bytes = document.toJson(QJsonDocument::Indented);
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

bool applyLanguage(const QString &language, QString *error)
{
    const LanguageList list = LanguageList::load();
    const QVariantMap entry = list.find(language);
    if (entry.isEmpty()) {
        *error = QStringLiteral("unknown language '%1' (give a two- or three-letter code or an English name)").arg(language);
        return false;
    }
    UserSettings::setRunLanguage(entry);
    return true;
}

bool applyPreset(const QString &preset, QString *error)
{
    bool ok = false;
    const std::optional<Preset> value = Presets::fromNumber(preset.toInt(&ok));
    if (!ok || !value) {
        *error = QStringLiteral("--preset takes a number from 1 to 4, not '%1'").arg(preset);
        return false;
    }
    UserSettings::setRunPreset(*value);
    return true;
}

void setProgressShown(bool shown)
{
    progressShown = shown;
}

void showProgressOnTerminal(Progress *progress)
{
    if (!progressShown)
        return;
    auto draw = [progress] {
        const int width = 30;
        const int filled = int(progress->value() / 100.0 * width);
        QString title = progress->title();
        if (title.size() > 60)
            title = title.left(57) + QStringLiteral("...");
        const QString line = QStringLiteral("[%1%2] %3% %4")
                                 .arg(QString(filled, QLatin1Char('#')), QString(width - filled, QLatin1Char(' ')))
                                 .arg(int(progress->value()), 3)
                                 .arg(title);
        Diagnostics::setStatus(line);
    };
    QObject::connect(progress, &Progress::titleChanged, progress, draw);
    QObject::connect(progress, &Progress::valueChanged, progress, draw);
    QObject::connect(progress, &Progress::ended, progress, [] { Diagnostics::setStatus(QString()); });
}

} // namespace CliSupport
