#include <util/l_univ.h>

int main() {
    l_univ durations("durations");
    for (const int seconds : {42, 7, 19})
        durations.put(seconds, 2);
    durations.print();
    return durations.count() == 3 ? 0 : 1;
}
