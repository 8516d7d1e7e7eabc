// What promoting and copying a profile have in common: the files of one state take the place of those of another.
#pragma once

#include "frame/owned.h"

// A state of the profile and its files.
struct StateFiles {
    int32_t state;
    Owned<char> bin = {};
    Owned<char> twin = {};
    uint8_t exists = 0; // with content
};

struct Transition {
    const char *sdr_key;
    uint8_t is_local;
    uint32_t vm_type;
    StateFiles from;
    StateFiles to;
};

// An operation's own words for what fails; `text` is its error text.
struct TransitionMessages {
    const char *verb; // the shell's command: "mv" or "cp"
    void (*no_file_name)(const Transition &transition, const StateFiles &files, uint64_t rc, char **text);
    void (*not_checked)(const StateFiles &files, uint64_t rc, char **text);
    void (*no_twin_name)(const StateFiles &files, uint64_t rc, char **text);
    void (*shell_failed)(const char *command, int status, int err, const char *from, const char *to, char **text);
    void (*flat_copy_failed)(const char *from, const char *to, int err, char **text);
    void (*flat_copy_done)(const char *from, const char *to);
};

// Each of the steps reports its failure. Names a state's file and finds out whether it exists.
uint64_t locate(const Transition &transition, StateFiles &files, const TransitionMessages &messages, char **text);

// Runs the verb for two files, in a command that is cut to 199 characters. Results: 0; an errno code.
uint64_t transfer_in_shell(const char *from, const char *to, const TransitionMessages &messages, char **text);

// What follows when the .bin file is in its place: the new twin takes the place of the old one, if there is one; the
// same for the flat copies, if the profile has such. What isn't there isn't transferred, but the old one goes.
uint64_t transfer_companions(Transition &transition, const TransitionMessages &messages, char **text);
