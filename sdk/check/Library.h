// Library.h - the library under test, and the bracket around each call of it.
//
// Each procedure of the library is called in a child process (Child.h). What is called at the moment stands in a
// variable of its thread, so that a crash can be told by its name.
//
// State:    the open library; per thread the name of the present call. Threads: Call() on any; the rest on one.
#pragma once

#include <cstdint>
#include <string>

namespace check
{

// Opens the library. Returns false with the loader's text.
[[nodiscard]] bool OpenLibrary(const std::string &path, std::string *error);

// The address of a procedure; nullptr when the library has none of that name.
[[nodiscard]] void *FindProcedure(const char *name);

// The name of the procedure that this thread is in; nullptr outside the library. For the signal handler.
[[nodiscard]] const char *PresentCall();

// The same for the thread number `thread`, counted from 0 in the order of their first calls: "" outside the library,
// nullptr when there is no such thread.
[[nodiscard]] const char *PresentCallOf(int thread);

// The longest call of this process so far, in microseconds.
[[nodiscard]] int64_t LongestCall();

// Brackets one call.
class InLibrary
{
  public:
    explicit InLibrary(const char *name);
    ~InLibrary();
    InLibrary(const InLibrary &) = delete;
    InLibrary &operator=(const InLibrary &) = delete;

  private:
    int64_t mBegin;
};

// Calls `name`, which has the type of the contract's declaration. The library has it.
template <typename Procedure, typename... Arguments>
auto Call(const char *name, Arguments... arguments)
{
    Procedure *const procedure = reinterpret_cast<Procedure *>(FindProcedure(name));
    const InLibrary bracket(name);
    return procedure(arguments...);
}

#define SDK_CALL(name, ...) Call<decltype(::name)>(#name, ##__VA_ARGS__)

} // namespace check
