"Tamsolvix file V2"
2
250
5
"eeprom.scm"
#TRUE#
#TRUE#
#TRUE#
#FALSE#
"&b110"
"&h0A"
"Dump1"
"Stop"
"Indicator"
"Stop"
"Stop"
"Stop"
#FALSE#
"read, then € write"
