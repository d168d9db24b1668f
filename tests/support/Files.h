// Files.h - whole files in and out, and folders that tests work in.
// State: none. Threads: any.
#pragma once

#include <string>

// The content of a file; "" when it cannot be read.
std::string ReadFile(const std::string &path);

// Makes a file with this content, in the place of the present one. Throws std::runtime_error when it cannot be written.
void WriteFile(const std::string &path, const std::string &content);

// A folder of its own below /tmp. It goes, with all that is in it, when this goes out of scope.
class TemporaryFolder
{
  public:
    TemporaryFolder(); // throws std::runtime_error when there is no room for it
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::string &Path() const { return mPath; }
    std::string Path(const std::string &name) const { return mPath + "/" + name; } // of a file in it

  private:
    std::string mPath;
};
