#include "app/CliEeprom.h"

#include "actions/Tester.h"
#include "app/CliRun.h"
#include "app/CliTransfer.h"
#include "app/ConsoleDialogs.h"
#include "files/EepromImage.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

using Outcome = EepromResult::Outcome;

const QString kChip = QStringLiteral("chip");
const QString kAddress = QStringLiteral("address");
const QString kOrg = QStringLiteral("org");
const QString kNoVerify = QStringLiteral("no-verify");

// Ctrl-C (or a TERM) during the work cancels it at the next page, so the chip holds what the
// message says and the simulated board's state file is still written.
volatile std::sig_atomic_t interrupted = 0;

extern "C" void interrupt(int) {
    interrupted = 1;
}

struct Request {
    QString operation; // read, write, verify, erase
    EepromChip chip;
    int address = 0xA0;
    QString file;
    bool verify = true;
    bool force = false;
    bool json = false;
};

QString chipNames() {
    QStringList names;
    for (const EepromChip& chip : EepromChip::all())
        if (!names.contains(QLatin1StringView(chip.name).toString().toLower()))
            names << QLatin1StringView(chip.name).toString().toLower();
    return names.join(QStringLiteral(", "));
}

// The bar on standard error while the work goes on, when standard error is a terminal.
class ProgressBar {
public:
    ProgressBar() : shown_(isatty(fileno(stderr)) != 0) {}
    ~ProgressBar() {
        if (drawn_)
            std::fprintf(stderr, "\r%*s\r", 60, "");
    }
    void show(const QString& what, int done, int total) {
        const int percent =
            total > 0 ? static_cast<int>(static_cast<long long>(done) * 100 / total) : 0;
        if (!shown_ || total <= 0 || (drawn_ && percent == percent_))
            return; // drawn again when the percentage moves
        const int width = 30;
        const int filled = percent * width / 100;
        std::fprintf(stderr, "\r%-6s [%s%s] %3d%% %d/%d", qPrintable(what),
                     QByteArray(filled, '#').constData(),
                     QByteArray(width - filled, '.').constData(), percent, done, total);
        std::fflush(stderr);
        drawn_ = true;
        percent_ = percent;
    }

private:
    bool shown_;
    bool drawn_ = false;
    int percent_ = -1;
};

const char* outcomeName(Outcome outcome) {
    switch (outcome) {
    case Outcome::Done:
        return "done";
    case Outcome::Cancelled:
        return "cancelled";
    case Outcome::VerifyFailed:
        return "verify-failed";
    case Outcome::NoAcknowledge:
        return "no-acknowledge";
    case Outcome::NoAnswer:
        return "no-answer";
    case Outcome::WriteCycleTimeout:
        return "write-cycle-timeout";
    case Outcome::WindowTooShort:
        return "window-too-short";
    case Outcome::BadRange:
        return "bad-range";
    case Outcome::PortClosed:
        return "port-closed";
    case Outcome::Busy:
        return "busy";
    }
    return "";
}

QJsonObject report(const Request& r, const EepromResult& result, int from,
                   const ConsoleDialogs& dialogs) {
    const bool i2c = r.chip.bus == EepromChip::Bus::I2c;
    QJsonObject o{
        {QStringLiteral("command"), QStringLiteral("eeprom")},
        {QStringLiteral("operation"), r.operation},
        {QStringLiteral("chip"), QLatin1StringView(r.chip.name).toString()},
        {QStringLiteral("org"), r.chip.org},
        {QStringLiteral("address"), i2c ? QJsonValue(r.address) : QJsonValue()},
        {QStringLiteral("file"), r.file.isEmpty() ? QJsonValue() : QJsonValue(r.file)},
        {QStringLiteral("from"), from},
        {QStringLiteral("outcome"), QLatin1StringView(outcomeName(result.outcome)).toString()},
        {QStringLiteral("message"), result.message},
        {QStringLiteral("bytes"), result.bytes},
        {QStringLiteral("verified"),
         r.operation == u"verify" || (r.operation == u"write" && r.verify) ? QJsonValue(result.ok())
                                                                           : QJsonValue()},
        {QStringLiteral("line_operations"), static_cast<qint64>(result.lineOperations)},
        {QStringLiteral("time_ms"), static_cast<double>(result.elapsedNs) / 1e6},
        {QStringLiteral("messages"), QJsonArray::fromStringList(dialogs.messages())},
    };
    QJsonValue difference;
    if (result.firstDifference >= 0)
        difference = QJsonObject{{QStringLiteral("address"), result.firstDifference},
                                 {QStringLiteral("chip"), result.chipByte},
                                 {QStringLiteral("file"), result.dataByte}};
    o.insert(QStringLiteral("first_difference"), difference);
    return o;
}

int execute(const Request& r, Tester& tester, ConsoleDialogs& dialogs) {
    EepromActions& eeprom = tester.eeprom();
    eeprom.setChip(r.chip);
    eeprom.setAddress(r.address);
    QByteArray data;
    int from = 0;
    QString why;
    EepromResult result;
    if ((r.operation == u"write" || r.operation == u"verify") &&
        !EepromImage::load(r.file, r.chip.size, &data, &from, &why)) {
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(why));
        return 1;
    }
    if (r.operation == u"read" && !CliRun::mayReplace(dialogs, r.file, r.force))
        return 1;

    {
        ProgressBar bar;
        QString what = r.operation;
        int last = 0;
        const auto onProgress = [&bar, &what, &last, &eeprom](int done, int total) {
            if (done < last) // a write's read-back starts
                what = QStringLiteral("verify");
            last = done;
            bar.show(what, done, total);
            if (interrupted)
                eeprom.Cancel();
        };
        const auto connection = QObject::connect(&eeprom, &EepromActions::progressed, onProgress);
        const auto oldInt = std::signal(SIGINT, interrupt);
        const auto oldTerm = std::signal(SIGTERM, interrupt);
        if (r.operation == u"read")
            result = eeprom.read(0, r.chip.size, &data);
        else if (r.operation == u"write")
            result = eeprom.write(from, data, r.verify);
        else if (r.operation == u"verify")
            result = eeprom.verify(from, data);
        else
            result = eeprom.erase();
        std::signal(SIGINT, oldInt);
        std::signal(SIGTERM, oldTerm);
        QObject::disconnect(connection);
    }
    std::fflush(stdout);
    bool written = true;
    if (r.operation == u"read" && result.ok() &&
        !EepromImage::save(r.file, data, 0, &why, Streams::Write)) {
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(why));
        written = false;
    }
    if (result.outcome == Outcome::Cancelled)
        std::fprintf(stderr, "%s\n", qPrintable(result.message));
    if (r.json) {
        std::fputs(QJsonDocument(report(r, result, from, dialogs)).toJson().constData(), stdout);
    } else if (result.ok()) {
        std::printf("%s\n  %llu line operations, %.1f ms on the port's clock\n",
                    qPrintable(result.message),
                    static_cast<unsigned long long>(result.lineOperations),
                    static_cast<double>(result.elapsedNs) / 1e6);
    }
    return result.ok() && written ? 0 : 1;
}

std::optional<Request> parseEeprom(const QCommandLineParser& parser, QStringList arguments,
                                   QString* why) {
    Request r;
    const QStringList operations{QStringLiteral("read"), QStringLiteral("write"),
                                 QStringLiteral("verify"), QStringLiteral("erase")};
    if (arguments.isEmpty() || !operations.contains(arguments.front())) {
        *why = QStringLiteral("eeprom needs read, write, verify or erase");
        return std::nullopt;
    }
    r.operation = arguments.takeFirst();
    const bool erase = r.operation == u"erase";
    if (arguments.size() != (erase ? 0 : 1)) {
        *why = erase ? QStringLiteral("eeprom erase takes no file")
                     : QStringLiteral("eeprom %1 needs one file").arg(r.operation);
        return std::nullopt;
    }
    r.file = arguments.value(0);
    bool ok = true;
    const int org = parser.isSet(kOrg) ? parser.value(kOrg).toInt(&ok) : 8;
    const auto chip = EepromChip::find(parser.value(kChip), ok ? org : 0);
    if (!parser.isSet(kChip) || !EepromChip::find(parser.value(kChip), 8)) {
        *why = QStringLiteral("eeprom needs --chip: %1").arg(chipNames());
        return std::nullopt;
    }
    if (!chip || (chip->bus == EepromChip::Bus::I2c && parser.isSet(kOrg))) {
        *why = QStringLiteral("--org takes 8 or 16, and only for a 93Cxx");
        return std::nullopt;
    }
    r.chip = *chip;
    if (parser.isSet(kAddress)) {
        r.address = parser.value(kAddress).toInt(&ok, 0);
        if (!ok || chip->bus != EepromChip::Bus::I2c || r.address < 0xA0 || r.address > 0xAE ||
            r.address % 2 != 0) {
            *why = QStringLiteral("--address takes the device address byte of a 24Cxx, an even "
                                  "number from 0xA0 to 0xAE");
            return std::nullopt;
        }
    }
    r.verify = !parser.isSet(kNoVerify);
    r.force = parser.isSet(QStringLiteral("force"));
    if ((!r.verify && r.operation != u"write") || (r.force && r.operation != u"read")) {
        *why = QStringLiteral("--no-verify belongs to eeprom write, --force to eeprom read");
        return std::nullopt;
    }
    return r;
}

} // namespace

namespace CliEeprom {

void addOptions(QCommandLineParser& parser) {
    parser.addOption(
        {kChip, QStringLiteral("eeprom: the chip (%1).").arg(chipNames()), QStringLiteral("CHIP")});
    parser.addOption({kAddress,
                      QStringLiteral("eeprom: the device address byte of a 24Cxx, 0xA0 to 0xAE; "
                                     "default 0xA0."),
                      QStringLiteral("BYTE")});
    parser.addOption({kOrg,
                      QStringLiteral("eeprom: the organisation of a 93Cxx, 8 or 16 bits (its "
                                     "ORG pin); default 8."),
                      QStringLiteral("BITS")});
    parser.addOption({kNoVerify, QStringLiteral("eeprom write: do not read the chip back.")});
}

bool anyOptionSet(const QCommandLineParser& parser) {
    for (const QString& name : {kChip, kAddress, kOrg, kNoVerify})
        if (parser.isSet(name))
            return true;
    return false;
}

const QStringList& commands() {
    static const QStringList names{QStringLiteral("eeprom"), QStringLiteral("transfer"),
                                   QStringLiteral("dump")};
    return names;
}

Tool parse(const QCommandLineParser& parser, const QString& command, const QStringList& arguments,
           bool json, QString* why) {
    const bool eeprom = command == u"eeprom";
    if (CliRun::anyOptionSet(parser) && !(eeprom && parser.isSet(QStringLiteral("force")))) {
        *why = QStringLiteral("--sequence, --repeat, --slider, --bmp, --vcd and --save belong "
                              "to run");
        return {};
    }
    if (!eeprom) {
        if (anyOptionSet(parser)) {
            *why = QStringLiteral("--chip, --address, --org and --no-verify belong to eeprom");
            return {};
        }
        return CliTransfer::parse(command, arguments, json, why);
    }
    std::optional<Request> request = parseEeprom(parser, arguments, why);
    if (!request)
        return {};
    request->json = json;
    return [r = *request](Tester& tester, ConsoleDialogs& dialogs) {
        return execute(r, tester, dialogs);
    };
}

} // namespace CliEeprom
