#pragma once

#include <span>
#include <string>

// A program that writes documents from tables in the code.

struct document {
    const char *name;      // of its file
    std::string (*text)(); // makes the whole of it
};

/// The main function of such a program, whose arguments are "[--check] FOLDER": writes the documents into the
/// folder, or sees whether those there are what it would write. Returns the exit status: 0, 1 when a document
/// could not be written or is stale, 2 for wrong arguments.
[[nodiscard]] int document_tool(const char *program, std::span<const document> documents, int argc,
                                char **argv);
