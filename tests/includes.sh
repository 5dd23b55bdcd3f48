#!/bin/sh
# Includes go one way: numeric <- ggi/engine <- ggi <- ggi/console/common. Prints the ones that do not.
cd "$(dirname "$0")/.."
{
    grep -n '#include "' numeric/* | grep -v '"numeric/'
    grep -n '#include "' ggi/engine/* | grep -v '"numeric/\|"ggi/engine/'
    grep -n '#include "' ggi/*.h ggi/*.cpp | grep '"ggi/console/\|"scan/'
    grep -rn '#include "' ggi/console | grep '"scan/'
} | grep . && exit 1
exit 0
