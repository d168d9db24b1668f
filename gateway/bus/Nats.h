// Nats.h - owners of libnats's objects, which are used in this folder only.
// State: none. Threads: any.
#pragma once

#include <memory>
#include <nats/nats.h>
#include <string>

namespace gateway
{

template <class Object, auto Destroy>
struct NatsDeleter {
    void operator()(Object *object) const { Destroy(object); }
};
template <class Object, auto Destroy>
using NatsPointer = std::unique_ptr<Object, NatsDeleter<Object, Destroy>>;

// Throws BusError, with `what` and the library's own words, for everything but NATS_OK.
void Check(int status, const std::string &what);

} // namespace gateway
