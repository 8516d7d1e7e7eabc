// The steps that promoting and copying a profile share: the files of one state replace those of another.
#pragma once

#include "frame/owned.h"

// A state of the profile and its files.
struct StateFiles {
    int32_t state;
    Owned<char> bin = {};
    Owned<char> twin = {};
    uint8_t exists = 0; // 1 if the .bin file exists and is not empty
};

struct Transition {
    const char *sdr_key;
    uint8_t is_local;
    uint32_t vm_type;
    StateFiles from;
    StateFiles to;
};

// What differs between promoting and copying: the shell command and the messages. `text` is the error text.
// docs/architecture.md (Messages) says why these are functions.
struct TransitionVariant {
    const char *verb; // the shell's command: "mv" or "cp"
    void (*no_file_name)(const Transition &transition, const StateFiles &files, uint64_t rc, char **text);
    void (*not_checked)(const StateFiles &files, uint64_t rc, char **text);
    void (*no_twin_name)(const StateFiles &files, uint64_t rc, char **text);
    void (*shell_failed)(const char *command, int status, int err, const char *from, const char *to, char **text);
    void (*flat_copy_failed)(const char *from, const char *to, int err, char **text);
    void (*flat_copy_done)(const char *from, const char *to);
};

// Each step reports its failure.

// Composes the path of a state's .bin file and checks whether the file exists.
uint64_t locate(const Transition &transition, StateFiles &files, const TransitionVariant &variant, char **text);

// Runs the shell command "VERB FROM TO", cut to 199 characters. Results: 0; an errno code.
uint64_t transfer_in_shell(const char *from, const char *to, const TransitionVariant &variant, char **text);

// Moves or copies the twin and the flat copies after the .bin. An old target is removed even without a source.
uint64_t transfer_companions(Transition &transition, const TransitionVariant &variant, char **text);
