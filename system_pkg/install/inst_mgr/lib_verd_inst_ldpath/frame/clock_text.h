// The time of day as DEBUG lines and the headers of text twins show it.
#pragma once

struct ClockText {
    char time[24]; // such as "Nov 15 20:45:13"
    long milliseconds;
};

// The local time of the real-time clock; a placeholder of 23 characters and 0 when the clock can't be read.
ClockText clock_text();
