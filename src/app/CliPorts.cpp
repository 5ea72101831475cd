#include "app/CliPorts.h"

#include "base/LineEnds.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace CliPorts {

namespace {

QString familyKey(AdapterInfo::Family family) {
    using F = AdapterInfo::Family;
    switch (family) {
    case F::Ftdi:
        return QStringLiteral("ftdi");
    case F::Cp210x:
        return QStringLiteral("cp210x");
    case F::Pl2303:
        return QStringLiteral("pl2303");
    case F::Ch34x:
        return QStringLiteral("ch34x");
    case F::CdcAcm:
        return QStringLiteral("cdc-acm");
    case F::Native:
        return QStringLiteral("native");
    case F::PseudoTerminal:
        return QStringLiteral("pseudo-terminal");
    case F::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

QJsonValue textOrNull(const QString& text) {
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

} // namespace

QJsonObject json(const std::vector<AdapterTexts::ListedPort>& ports) {
    QJsonArray list;
    for (const AdapterTexts::ListedPort& p : ports) {
        const AdapterInfo& info = p.info;
        QJsonArray numbers;
        for (const int n : p.portNumbers)
            numbers.append(n);
        list.append(QJsonObject{
            {QStringLiteral("device"), info.device},
            {QStringLiteral("stableName"), textOrNull(info.stableName)},
            {QStringLiteral("description"), textOrNull(info.description)},
            {QStringLiteral("manufacturer"), textOrNull(info.manufacturer)},
            {QStringLiteral("serialNumber"), textOrNull(info.serialNumber)},
            {QStringLiteral("usbId"), textOrNull(info.usbIdText())},
            {QStringLiteral("driver"), textOrNull(info.driver)},
            {QStringLiteral("family"), familyKey(info.family)},
            {QStringLiteral("familyText"), info.familyText()},
            {QStringLiteral("warning"), textOrNull(info.warning())},
            {QStringLiteral("portNumbers"), numbers},
        });
    }
    return {{QStringLiteral("ports"), list}};
}

int print(const PortBackend& port, bool asJson, std::FILE* out) {
    const auto ports = AdapterTexts::listedPorts(AdapterInfo::listPorts(), port);
    if (asJson) {
        std::fputs(QJsonDocument(json(ports)).toJson(QJsonDocument::Indented).constData(), out);
        return 0;
    }
    std::fprintf(out, "%s\n\n%s\n", qPrintable(withLineFeeds(AdapterTexts::portList(ports))),
                 qPrintable(AdapterTexts::mappingHelp(ports)));
    return 0;
}

} // namespace CliPorts
