#pragma once

#include <dirent.h>
#include <memory>

struct close_folder {
    void operator()(DIR *folder) const { ::closedir(folder); }
};

/// A folder that is read, closed with its owner.
using folder_handle = std::unique_ptr<DIR, close_folder>;
