"Tamsolvix file V2",2.5 , "12",&hFF
  "x" junk-1,0.5,#FALSE#,1e2
"a
b",,	"c"