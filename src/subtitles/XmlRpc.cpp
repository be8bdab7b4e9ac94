#include "subtitles/XmlRpc.h"

#include <xmlrpc-c/base.hpp>
#include <xmlrpc-c/xml.hpp>

#include <map>
#include <string>
#include <vector>

namespace {

std::string utf8(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    return std::string(bytes.constData(), size_t(bytes.size()));
}

QString qstring(const std::string &text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

xmlrpc_c::value toValue(const QVariant &variant)
{
    switch (variant.typeId()) {
    case QMetaType::Bool: return xmlrpc_c::value_boolean(variant.toBool());
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort: return xmlrpc_c::value_int(variant.toInt());
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        const qint64 value = variant.toLongLong();
        if (value >= INT_MIN && value <= INT_MAX)
            return xmlrpc_c::value_int(int(value));
        return xmlrpc_c::value_i8(value);
    }
    case QMetaType::Double:
    case QMetaType::Float: return xmlrpc_c::value_double(variant.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = variant.toByteArray();
        return xmlrpc_c::value_bytestring(std::vector<unsigned char>(bytes.cbegin(), bytes.cend()));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        std::vector<xmlrpc_c::value> items;
        for (const QVariant &item : variant.toList())
            items.push_back(toValue(item));
        return xmlrpc_c::value_array(items);
    }
    case QMetaType::QVariantMap: {
        std::map<std::string, xmlrpc_c::value> members;
        const QVariantMap map = variant.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            members.emplace(utf8(it.key()), toValue(it.value()));
        return xmlrpc_c::value_struct(members);
    }
    case QMetaType::UnknownType: return xmlrpc_c::value_nil();
    default: return xmlrpc_c::value_string(utf8(variant.toString()));
    }
}

QVariant fromValue(const xmlrpc_c::value &value, int depth = 0)
{
    // Answers come from the network: a hostile nesting depth must not exhaust the stack.
    if (depth > 64)
        return {};
    switch (value.type()) {
    case xmlrpc_c::value::TYPE_INT: return int(xmlrpc_c::value_int(value));
    case xmlrpc_c::value::TYPE_I8: return qint64(xmlrpc_c::value_i8(value));
    case xmlrpc_c::value::TYPE_BOOLEAN: return bool(xmlrpc_c::value_boolean(value));
    case xmlrpc_c::value::TYPE_DOUBLE: return double(xmlrpc_c::value_double(value));
    case xmlrpc_c::value::TYPE_STRING: return qstring(std::string(xmlrpc_c::value_string(value)));
    case xmlrpc_c::value::TYPE_BYTESTRING: {
        const std::vector<unsigned char> bytes = xmlrpc_c::value_bytestring(value).vectorUcharValue();
        return QByteArray(reinterpret_cast<const char *>(bytes.data()), qsizetype(bytes.size()));
    }
    case xmlrpc_c::value::TYPE_ARRAY: {
        QVariantList list;
        for (const xmlrpc_c::value &item : xmlrpc_c::value_array(value).vectorValueValue())
            list.append(fromValue(item, depth + 1));
        return list;
    }
    case xmlrpc_c::value::TYPE_STRUCT: {
        QVariantMap map;
        const std::map<std::string, xmlrpc_c::value> members = xmlrpc_c::value_struct(value);
        for (const auto &[name, member] : members)
            map.insert(qstring(name), fromValue(member, depth + 1));
        return map;
    }
    default: return {};
    }
}

} // namespace

namespace XmlRpc {

QByteArray call(const QString &method, const QVariantList &parameters)
{
    xmlrpc_c::paramList list;
    for (const QVariant &parameter : parameters)
        list.add(toValue(parameter));
    std::string xml;
    try {
        xmlrpc_c::xml::generateCall(utf8(method), list, &xml);
    } catch (const std::exception &) {
        return {};
    }
    return QByteArray(xml.data(), qsizetype(xml.size()));
}

bool declaresEntities(const QByteArray &xml)
{
    // The XML parser expands entities: a few hundred bytes of declarations can become megabytes.
    // An XML-RPC answer has no reason to carry a document type or entity declarations at all.
    return xml.contains("<!DOCTYPE") || xml.contains("<!ENTITY") || xml.contains("<!doctype") || xml.contains("<!entity");
}

std::optional<QVariant> parseResponse(const QByteArray &xml)
{
    if (xml.isEmpty() || declaresEntities(xml))
        return std::nullopt;
    try {
        xmlrpc_c::rpcOutcome outcome;
        xmlrpc_c::xml::parseResponse(std::string(xml.constData(), size_t(xml.size())), &outcome);
        if (!outcome.succeeded())
            return std::nullopt;
        return fromValue(outcome.getResult());
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

bool parseCall(const QByteArray &xml, QString *method, QVariantList *parameters)
{
    if (declaresEntities(xml))
        return false;
    try {
        std::string name;
        xmlrpc_c::paramList list;
        xmlrpc_c::xml::parseCall(std::string(xml.constData(), size_t(xml.size())), &name, &list);
        *method = qstring(name);
        parameters->clear();
        for (unsigned int i = 0; i < list.size(); ++i)
            parameters->append(fromValue(list[i]));
        return true;
    } catch (const std::exception &) {
        return false;
    }
}

QByteArray response(const QVariant &value)
{
    std::string xml;
    xmlrpc_c::xml::generateResponse(xmlrpc_c::rpcOutcome(toValue(value)), &xml);
    return QByteArray(xml.data(), qsizetype(xml.size()));
}

QByteArray fault(int code, const QString &message)
{
    std::string xml;
    xmlrpc_c::xml::generateResponse(
        xmlrpc_c::rpcOutcome(xmlrpc_c::fault(utf8(message), xmlrpc_c::fault::code_t(code))), &xml);
    return QByteArray(xml.data(), qsizetype(xml.size()));
}

} // namespace XmlRpc
