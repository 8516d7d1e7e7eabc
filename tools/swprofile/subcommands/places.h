// The options by which check and repair select any number of profiles.
#pragma once

#include "profile/selector.h"

#include <CLI/CLI.hpp>

class PlaceFilter
{
public:
    void add_options(CLI::App &command);

    // Was any of the options given?
    bool is_restricted() const;

    // The places in the repository that match every option that was given.
    std::vector<Selector> places() const;

private:
    Selector wanted = {"", 0, 0, false}; // by default, nothing is restricted
    const CLI::App *app = nullptr;
};
