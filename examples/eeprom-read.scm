"Tamsolvix file V2"
1
1000
9
"eeprom-read.scm"
#FALSE#
#FALSE#
#FALSE#
#TRUE#
"&hA0"
"&h10"
"Stop"
"Stop"
"&hA1"
"Dump1"
"Dump1"
"Stop"
#TRUE#
"Reads two bytes from address &h10 of the 24C02: dummy write (Sequence 1), read (Sequence 2)"
