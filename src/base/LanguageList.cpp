#include "base/LanguageList.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonDocument>

QString LanguageList::resourcePath()
{
    return QStringLiteral(":/data/language-codes-3b2.json");
}

LanguageList LanguageList::load(const QString &path)
{
    LanguageList list;
    QFile file(path.isEmpty() ? resourcePath() : path);
    if (!file.exists()) {
        list.m_status = Status::Missing;
        return list;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        list.m_status = Status::Unreadable;
        list.m_errorText = file.errorString();
        return list;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        list.m_status = Status::Unreadable;
        list.m_errorText = file.errorString();
        return list;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        list.m_status = Status::InvalidJson;
        return list;
    }
    for (const QJsonValue &value : document.array()) {
        if (value.isObject())
            list.m_entries.append(value.toObject().toVariantMap());
    }
    list.m_status = Status::Loaded;
    return list;
}

QVariantMap LanguageList::find(const QString &code) const
{
    for (const QVariant &entry : m_entries) {
        const QVariantMap language = entry.toMap();
        for (const char *field : {"alpha2", "alpha3-b", "English"}) {
            if (language.value(QString::fromLatin1(field)).toString().compare(code, Qt::CaseInsensitive) == 0)
                return language;
        }
    }
    return {};
}

qsizetype LanguageList::indexOf(const QVariantMap &language) const
{
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        if (m_entries.at(i).toMap() == language)
            return i;
    }
    return -1;
}
