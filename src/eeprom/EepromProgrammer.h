#pragma once

#include "eeprom/EepromChip.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>

class PortLines;

// What a piece of EEPROM work did.
struct EepromResult {
    enum class Outcome {
        Done,
        Cancelled,         // the progress callback said stop; bytes tells how far it got
        VerifyFailed,      // firstDifference tells where
        NoAcknowledge,     // a 24Cxx did not acknowledge its address (or a byte)
        NoAnswer,          // a 93Cxx did not answer a READ (no dummy 0)
        WriteCycleTimeout, // a write cycle did not end within the chip's maximum
        WindowTooShort,    // a 93Cxx command did not fit into one chip select window
        BadRange,          // the range lies outside the chip
        PortClosed,
        Busy // another bus action was under way: nothing was done (EepromActions)
    };

    Outcome outcome = Outcome::Done;
    QString message;          // one line for the user
    int bytes = 0;            // bytes read, written, verified or erased completely
    int firstDifference = -1; // verify: the first address where chip and data differ
    int chipByte = -1;        // ... and the two bytes there
    int dataByte = -1;
    std::uint64_t lineOperations = 0; // port calls the work made
    std::uint64_t elapsedNs = 0;      // on the port's clock

    bool ok() const { return outcome == Outcome::Done; }
};

// Reads, writes, verifies and erases a whole serial EEPROM (or a range of it) with the bus
// primitives, every line change one call on the port. The port must be open. Work goes page
// by page; after each page the progress callback learns how many bytes are done and can stop
// the work there (it returns false), so the chip holds what the result says.
//
// Timed waits never sleep: the end of a write cycle is polled for, and the time limits are
// measured on the port's clock (PortBackend::nowNs()).
class EepromProgrammer {
public:
    struct Options {
        int i2cAddressByte = 0xA0; // 24Cxx: the device address (the block bits are ignored)
        int resetValue = 9;        // 93Cxx: the reset value whose pulse selects the chip
    };
    // done of total bytes; false stops the work.
    using Progress = std::function<bool(int done, int total)>;

    virtual ~EepromProgrammer() = default;

    static std::unique_ptr<EepromProgrammer> create(const EepromChip& chip, PortLines& lines,
                                                    const Options& options);

    const EepromChip& chip() const { return chip_; }

    // count bytes from address from into out (replaced; on a failure it holds the bytes read
    // up to it).
    EepromResult read(int from, int count, QByteArray* out, const Progress& progress = {});
    // data into the chip from address from, page by page, each write cycle polled to its end.
    EepromResult write(int from, const QByteArray& data, const Progress& progress = {});
    // Reads the chip from address from and compares it with data; stops at the first
    // difference.
    EepromResult verify(int from, const QByteArray& data, const Progress& progress = {});
    // Every byte 0xFF (24Cxx: written page by page; 93Cxx: its erase-all command).
    EepromResult erase(const Progress& progress = {});

protected:
    EepromProgrammer(const EepromChip& chip, PortLines& lines, const Options& options)
        : chip_(chip), lines_(lines), options_(options) {}

    virtual EepromResult readRange(int from, int count, QByteArray* out,
                                   const Progress& progress) = 0;
    virtual EepromResult writeRange(int from, const QByteArray& data, const Progress& progress) = 0;
    virtual EepromResult eraseAll(const Progress& progress) = 0;

    // "24C02 at 0xA0", "93C46 x8".
    virtual QString chipText() const = 0;
    static QString hex(int value, int digits);
    QString addressText(int address) const { return hex(address, chip_.size > 256 ? 4 : 2); }
    static EepromResult failure(EepromResult::Outcome outcome, const QString& message,
                                int bytes = 0);
    // Calls progress (when there is one); false when it asks to stop.
    static bool goOn(const Progress& progress, int done, int total);

    EepromChip chip_;
    PortLines& lines_;
    Options options_;

private:
    template <typename Work> EepromResult measured(Work work);
    bool checkRange(int from, int count, EepromResult* result) const;
};
