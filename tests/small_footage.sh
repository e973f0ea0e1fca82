# Sourced: makes a few frames of a moving texture with two points, and a table of their positions.
# make_footage FOLDER
make_footage() {
  mkdir -p "$1"
  echo "file,frame,name,x,y" >"$1/points.csv"
  for frame in 0 1 2 3 4 5; do
    local dx=$((frame % 4 * 2)) dy=$((frame % 3))
    awk -v dx=$dx -v dy=$dy 'BEGIN {
      print "P2 140 110 255"
      for (y = 0; y < 110; ++y) {
        line = ""
        for (x = 0; x < 140; ++x) {
          u = x - dx; v = y - dy
          line = line " " int(128 + 50 * sin(u / 5 + sin(v / 7)) + 45 * sin(v / 4 + cos(u / 9) * 2))
        }
        print line
      }
    }' >"$1/f$frame.pgm"
    echo "$1/f$frame.pgm,$frame,nose,$((60 + dx)),$((50 + dy))" >>"$1/points.csv"
    echo "$1/f$frame.pgm,$frame,tail,$((82 + dx)),$((61 + dy))" >>"$1/points.csv"
  done
}

# same_model FOLDER FOLDER: every file but the plan is the same.
same_model() { diff -r -x plan "$1" "$2"; }
