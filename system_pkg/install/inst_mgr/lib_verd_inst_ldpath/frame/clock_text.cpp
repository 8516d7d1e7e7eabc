#include "frame/clock_text.h"

#include <ctime>

ClockText clock_text()
{
    ClockText text = {"<Unknown Time>       : ", 0};
    timespec now = {};
    tm local = {};
    tzset(); // the zone may have changed
    if (clock_gettime(CLOCK_REALTIME, &now) == 0 && localtime_r(&now.tv_sec, &local) != nullptr) {
        std::strftime(text.time, sizeof text.time, "%b %d %H:%M:%S", &local);
        text.milliseconds = now.tv_nsec / 1000000;
    }
    return text;
}
