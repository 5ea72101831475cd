#pragma once

#include "app/CliEeprom.h"
#include "bus/I2cTransfer.h"

#include <optional>
#include <vector>

// brolmet-cli's bus one-liners, with 7-bit addresses as the command-line I2C tools have them:
//
//   transfer MESSAGE...   one combined transfer, as i2ctransfer types it: each message is
//                         {r|w}LENGTH[@ADDRESS] (the address may be left out after the first
//                         message: the one before), a write message followed by its LENGTH
//                         bytes. A byte followed by = repeats it for the rest of the message,
//                         + counts up from it, - counts down. Messages after the first begin
//                         with a repeated start; one stop ends the transfer. Each read message
//                         prints its bytes on a line, in hex (0x12 0x34).
//   dump ADDRESS          the 256 bytes of a device: register address 0x00 written, then one
//                         sequential read of 256 bytes; printed as a table of 16 columns with
//                         the ASCII column (as i2cdump prints it: . for 0x00 and 0xFF, ? for
//                         what is not printable).
namespace CliTransfer {

// The messages of a transfer; nullopt and why for a usage error.
std::optional<std::vector<I2cMessage>> parseMessages(const QStringList& arguments, QString* why);
// The table of a dump.
QByteArray dumpTable(const QByteArray& bytes);
CliEeprom::Tool parse(const QString& command, const QStringList& arguments, bool json,
                      QString* why);

} // namespace CliTransfer
