// Memory.h - another user of the files that a process has mapped.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

// A process that has every page of `files` mapped, as long as the object lives.
class Neighbour
{
  public:
    explicit Neighbour(const std::vector<std::string> &files);
    ~Neighbour();
    Neighbour(const Neighbour &) = delete;
    Neighbour &operator=(const Neighbour &) = delete;

  private:
    pid_t mPid;
};
