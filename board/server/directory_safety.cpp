#include "server/directory_safety.h"

#include <sys/stat.h>
#include <unistd.h>

namespace orka::board {

std::string danger_in_directory(const std::string &path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return path + " cannot be looked at";
    if (!S_ISDIR(status.st_mode))
        return path + " is no directory";
    if (status.st_uid != geteuid() && status.st_uid != 0)
        return path + " belongs to another user";
    const bool others_write = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    const bool sticky = (status.st_mode & S_ISVTX) != 0;
    return others_write && !sticky ? path + " can be written by others, and has no sticky bit" : "";
}

} // namespace orka::board
