# Baseline JPEG both ways, beside the peer's programs where they are installed. $1 is zmc.
. "$(dirname "$0")/support/common.sh"

picture 131 77 >odd.ppm
picture 16 16 >one.ppm
picture 1 1 >dot.ppm
for picture in odd one dot; do
  for sampling in 444 422 420; do
    expect 0 "$zmc" encode $picture.ppm $sampling.jpg -q 95 --sampling $sampling
    expect 0 "$zmc" decode --upsample replicate $sampling.jpg back.ppm
    close $picture.ppm back.ppm 90 60
    if command -v djpeg >/dev/null; then
      djpeg -nosmooth -outfile peer.ppm $sampling.jpg
      close peer.ppm back.ppm 4 1
    fi
  done
done
# The same coefficients, whatever the restarts.
expect 0 "$zmc" encode odd.ppm restarts.jpg -q 95 --restart 3
expect 0 "$zmc" decode --upsample replicate restarts.jpg again.ppm
expect 0 "$zmc" encode odd.ppm plain.jpg -q 95
expect 0 "$zmc" decode --upsample replicate plain.jpg back.ppm
same again.ppm back.ppm

# The other ways of sampling: not the same, not far off.
expect 0 "$zmc" encode odd.ppm box.jpg -q 95 --subsample box
expect 0 "$zmc" decode --upsample replicate box.jpg box.ppm
close back.ppm box.ppm 30 6
expect 0 "$zmc" decode plain.jpg triangle.ppm
close back.ppm triangle.ppm 90 60
if command -v djpeg >/dev/null; then
  djpeg -outfile peer.ppm plain.jpg
  close peer.ppm triangle.ppm 4 1
fi
expect 0 "$zmc" encode odd.ppm grey.jpg -q 95 --sampling grey
expect 0 "$zmc" decode grey.jpg grey.pgm
[ "$(head -c 2 grey.pgm)" = P5 ] || fail "not grey"

for sampling in 444 420; do
  expect 0 "$zmc" encode odd.ppm print.jpg -q 95 --ycck --sampling $sampling
  expect 0 "$zmc" decode print.jpg print.ppm
  close odd.ppm print.ppm 90 90
  if command -v djpeg >/dev/null; then
    djpeg -outfile peer.ppm print.jpg
    close peer.ppm print.ppm 6 2
  fi
done
expect 0 "$zmc" info print.jpg
grep -q YCCK out.txt || fail "info: $(cat out.txt)"

# Quality and info.
expect 0 "$zmc" encode odd.ppm low.jpg -q 10
[ "$(wc -c <low.jpg)" -lt "$(wc -c <plain.jpg)" ] || fail "low quality is not smaller"
expect 0 "$zmc" info low.jpg
grep -q 'baseline, 131 x 77 pixels, YCbCr' out.txt || fail "info: $(cat out.txt)"
grep -q 'at quality 10' out.txt || fail "info: $(cat out.txt)"

# Damage: what there is, and a report.
head -c 2500 plain.jpg >cut.jpg
expect 1 "$zmc" decode --upsample replicate cut.jpg cut.ppm
[ "$(far back.ppm cut.ppm)" != size ] || fail "a cut file gives no picture"
grep -q 'cut.jpg: damaged: the file ends too early, [0-9]* of 45 MCUs of scan 1 lost' err.txt || fail "$(cat err.txt)"
printf 'rubbish' >>plain.jpg
expect 0 "$zmc" decode --upsample replicate plain.jpg trailing.ppm
same back.ppm trailing.ppm
head -c 100 plain.jpg >header.jpg
expect 1 "$zmc" decode header.jpg header.ppm
[ ! -e header.ppm ] || fail "a picture out of nothing"

expect 1 "$zmc" decode odd.ppm x.ppm
expect 1 "$zmc" decode missing.jpg x.ppm
expect 1 "$zmc" decode plain.jpg x.pgm
expect 2 "$zmc" decode plain.jpg x.jpg
expect 2 "$zmc" encode odd.ppm x.jpg -q 0
expect 2 "$zmc" encode odd.ppm x.jpg -q 101
expect 2 "$zmc" encode odd.ppm x.jpg --sampling 421
expect 2 "$zmc" encode odd.ppm x.png
