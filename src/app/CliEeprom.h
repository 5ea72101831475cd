#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class ConsoleDialogs;
class QCommandLineParser;
class Tester;

// brolmet-cli's EEPROM programmer and bus one-liners:
//   eeprom read|write|verify|erase --chip CHIP [--address 0xA0] [--org 8|16] [FILE]
//   transfer MESSAGE...     (CliTransfer: i2ctransfer's messages, w2@0x50 0x00 0x10 r4@0x50)
//   dump ADDRESS            (CliTransfer: the 256 bytes of a device at a 7-bit address)
// Each is parsed into a tool that runs on the Tester and returns the exit status: 0 when it
// was done, 1 when the chip or the device did not answer, a verify failed or a file could not
// be read or written (the reason on standard error).
namespace CliEeprom {

using Tool = std::function<int(Tester& tester, ConsoleDialogs& dialogs)>;

// Adds --chip, --address, --org and --no-verify.
void addOptions(QCommandLineParser& parser);
// Whether any of those options was given (they belong to "eeprom" only).
bool anyOptionSet(const QCommandLineParser& parser);
// eeprom, transfer and dump.
const QStringList& commands();
// The tool for the command and its arguments; empty and why for a usage error.
Tool parse(const QCommandLineParser& parser, const QString& command, const QStringList& arguments,
           bool json, QString* why);

} // namespace CliEeprom
