// The local time for DEBUG lines and the headers of text twins.
#pragma once

struct ClockText {
    char time[24]; // such as "Nov 15 20:45:13"
    long milliseconds;
};

// Returns the local time, or a placeholder of 23 characters and 0 if it cannot be determined.
ClockText clock_text();
