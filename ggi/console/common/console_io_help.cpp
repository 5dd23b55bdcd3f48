// Usage and help on the standard output.
#include "ggi/console/common/console_io.h"

#include <iostream>

int usage_display(bool hint) {
    std::cout << "\n"
                 "Usage: quilmar data spec [-h, --hardy-weinberg=HW] [-i, --iterations=N]\n"
                 "       [-m, --model=M] [-t, --tolerance=TOL] [-o result] \n\n";
    if (hint) std::cout << "Type 'quilmar --help' for help.\n\n";
    std::cout << std::flush;
    return 0;
}

int help_display() {
    std::cout << "\nquilmar " QUILMAR_VERSION " (17 September 2007)\n";
    usage_display(false);
    std::cout << "  Mandatory arguments: \n"
                 "      data                      input file or directory\n"
                 "      spec                      variable specification file\n"
                 "\n"
                 "  Options: \n"
                 "      -h, --hardy-weinberg=HW   Hardy-Weinberg assumption\n"
                 "      -i, --iterations=N        maximum number of iterations\n"
                 "      -m, --model=M             mode of inheritance\n"
                 "      -t, --tolerance=TOL       error tolerance\n"
                 "      -o result                 output file or directory\n"
                 "\n"
              << std::flush;
    return 0;
}
