#pragma once

/// Prints every command of the shell to standard output, one a line, with tabs between its parts: the mask of
/// those who may type it, its keywords, its arguments, and the help texts by word position, in which tabs and
/// line feeds are written as \t and \n. A part that is missing keeps its place.
void dump_commands();
