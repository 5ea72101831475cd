#pragma once

#include "bus/LineEventLog.h"

class QIODevice;

// Writes the line events of a run to out as a Value Change Dump (timescale 1 ns, time 0 = the
// run's start), as it reads them, so that a long run takes little memory beyond its log:
//
//   dtr   data out                   rts   clock
//   cts   data in, changing only at the moments it was sampled
//   data  the data line as the tool saw it: what it put on DTR, and low where a sample found
//         it low while the tool let it go (from the clock's fall before that sample to the
//         clock's next fall, when a chip may change it), so that an I2C decoder on rts and
//         data reads the chips' acknowledges and bytes as well as the tool's own
//   txd   the reset pulse's character (idle high)
//
// When the log was full, a comment in the dump's header says how many events it left out.
// False when a write to out failed.
bool writeObservationVcd(const LineEventLog& log, QIODevice& out);
