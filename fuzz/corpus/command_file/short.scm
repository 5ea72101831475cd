"Tamsolvix file V2"
300
