# Pictures between PNG, PPM and PGM, and what the program answers to misuse and failure. $1 is zmc.
. "$(dirname "$0")/support/common.sh"

printf 'P6\n3 2\n255\nabcdefghi\0\001\377\002\003\004\005\006\007' >rgb.ppm
printf 'P5 # width next\n# and a line of its own\n2\t2 255\n\012\013\040\377' >grey.pgm
printf 'P5\n2 2\n255\n\012\013\040\377' >grey_plain.pgm
printf 'P5\n2 1\n65535\n\022\064\253\315' >deep.pgm
printf 'P6\n1 1\n1023\n\003\377\000\000\002\001' >ten.ppm
for name in rgb.ppm grey.pgm deep.pgm; do
  expect 0 "$zmc" convert $name out.png
  expect 0 "$zmc" convert out.png "back.${name##*.}"
  [ $name = grey.pgm ] && original=grey_plain.pgm || original=$name
  same $original "back.${name##*.}"
done
expect 0 "$zmc" convert ten.ppm ten_out.ppm
same ten.ppm ten_out.ppm
# A maximum of 100 is spread over the seven bits that it needs; grey goes to PPM as colour.
printf 'P5 2 1 100\n\062\144' >hundred.pgm
expect 0 "$zmc" convert hundred.pgm spread.pgm
printf 'P5\n2 1\n127\n\100\177' >expected.pgm
same expected.pgm spread.pgm
expect 0 "$zmc" convert grey.pgm colour.ppm
printf 'P6\n2 2\n255\n\012\012\012\013\013\013\040\040\040\377\377\377' >expected.ppm
same expected.ppm colour.ppm

# Failures leave nothing behind, neither the output nor a temporary file, and do not harm what was there.
mkdir out; echo precious >out/kept.ppm
head -c 20 rgb.ppm >short.ppm
expect 1 "$zmc" convert short.ppm out/kept.ppm
[ "$(cat out/kept.ppm)" = precious ] || fail "a failure has destroyed its output"
expect 1 "$zmc" convert rgb.ppm out/colour.pgm
expect 1 "$zmc" convert missing.ppm out/a.ppm
expect 1 "$zmc" convert rgb.ppm missing/a.ppm
expect 1 "$zmc" convert /dev/null out/a.ppm
[ "$(ls out)" = kept.ppm ] || fail "left behind: $(ls out)"
ln -s /dev/full full.ppm
expect 1 "$zmc" convert rgb.ppm full.ppm

expect 2 "$zmc"
expect 2 "$zmc" nonsense
expect 2 "$zmc" convert rgb.ppm
expect 2 "$zmc" convert rgb.ppm out.bmp
expect 0 "$zmc" --help
expect 0 "$zmc" --version
expect 0 "$zmc" kernels
grep -q 'level shift' out.txt || fail "no kernels listed"
