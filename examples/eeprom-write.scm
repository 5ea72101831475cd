"Tamsolvix file V2"
1
1000
9
"eeprom-write.scm"
#FALSE#
#FALSE#
#FALSE#
#TRUE#
"&hA0"
"&h10"
"&h54"
"&h61"
"Stop"
"Stop"
"Stop"
"Stop"
#TRUE#
"Writes T and a (&h54, &h61) to the 24C02 at address &h10"
