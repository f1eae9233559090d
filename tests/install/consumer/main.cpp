// A program of another project, built against the installed library: its version, an interval's
// text and the score of the worked example of the progress calculation (every day, checkmarks
// on days 1, 2 and 4, asked on day 6: 9.45, shown as 10).

#include <iostream>
#include <vector>

#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "DovrelFoundation/Version.h"

int main() {
    const double day = 86400;
    const std::vector<dovrel::Date> checkmarks = {dovrel::Date(day), dovrel::Date(2 * day),
                                                  dovrel::Date(4 * day)};
    std::cout << dovrel::libraryVersion() << ' '
              << dovrel::RepeatInterval(3, 7).analyticsDescription() << ' '
              << dovrel::HabitProgressCalculator::calculateProgress(checkmarks, 1, 1,
                                                                    dovrel::Date(6 * day))
              << '\n';
    return 0;
}
