#pragma once

#include "bus/DeviceScan.h"
#include "bus/LineTest.h"

#include <QString>

// What the device scan and the line test show the user.
namespace DiagnosticTexts {

// The two read-out texts of a scan.
struct ScanReport {
    QString dump; // "Acknowledge Found !" and the decimal list, or what was not found
    QString hex;  // the devices' address bytes in hexadecimal, each followed by a blank
};
ScanReport scanReport(const DeviceScan::Acknowledged& acknowledged);

// The text of the box that tells the line test's outcome: "Line Probe OK !", or the failure
// with its periods, " p/" for a period whose rise DSR missed and " p\" for one whose fall.
QString lineTestMessage(const LineTest::Verdict& verdict);

} // namespace DiagnosticTexts
