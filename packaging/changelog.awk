# Turns CHANGELOG.md into the changelog of the Debian package. A section without a date is not released yet.
function finish() {
  if (!date) return
  ("date -Rud" date) | getline stamp
  print "\n -- the planeshow maintainers  " stamp "\n"
}

/^## /         { finish(); date = $4; if (!newest && date) newest = $2 }
date && /^## / { print "planeshow (" $2 ") unstable; urgency=medium\n" }
date && /^- /  { print "  *" substr($0, 2) }
date && /^  /  { print "  " $0 }

END {
  finish()
  if (newest == version) exit
  print "CHANGELOG.md: the newest section with a date should be that of " version > "/dev/stderr"
  exit 1
}
