#pragma once

#include "lib/cli/cli_command.h"
#include "lib/cli/cli_match.h"

#include <cstddef>
#include <cstdint>

// The installed commands, between the cli_ files. Made at start-up, never freed.

/// A word that occurs in patterns, kept once however many commands have it.
struct cli_known_word {
    cli_known_word *next;
    cli_pattern_word pattern;
    uint32_t listed; // number of the last listing that printed it
    char text[];     // at most k_cli_pattern_word_max characters and a NUL
};

/// A command as installed, its words split.
struct cli_entry {
    const cli_command *command;
    int32_t command_words; // of which the first ones are the command's, the others its arguments
    int32_t words;
    cli_known_word *word[]; // as many as `words`
};

/// One word at one depth of a mode's commands.
struct cli_tree_node {
    cli_known_word *word;
    uint32_t mode_bit; // that of the first command installed through it, and of no later one
    cli_tree_node *next;
    cli_tree_node *child;
};

/// The commands of one mode.
struct cli_node {
    int32_t mode_id;
    cli_entry **entries; // ascending by command words; equal ones in the order they were installed
    size_t count;
    size_t room;
    cli_tree_node *root;
};

/// The node of a mode, or null when nothing was installed in it. Good until the next install.
const cli_node *cli_find_node(int32_t mode_id);
