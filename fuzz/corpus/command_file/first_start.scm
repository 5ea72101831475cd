"Tamsolvix file V2"
1
1000
9
"test.scm"
#FALSE#
#FALSE#
#FALSE#
#TRUE#
"Stop"
"Stop"
"Stop"
"Stop"
"Stop"
"Stop"
"Stop"
"Stop"
#TRUE#
" "
