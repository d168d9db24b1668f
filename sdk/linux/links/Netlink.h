// Netlink.h - sockets to the kernel, in the network namespace of the process, and whole dumps through them.
// Threads:  any; a socket belongs to whoever opened it.
#pragma once

#include <cstddef>
#include <libmnl/libmnl.h>

constexpr size_t kNetlinkBuffer = 16384; // the kernel sends no more at once than it has seen room for

// Opens a socket that does not block the caller for more than two seconds, and subscribes it to `count` groups.
// Returns null with errno if that fails.
mnl_socket *NetlinkOpen(int bus, const int *groups, size_t count);

// Sends a request (its sequence number is set here) and gives each answer to `callback`. Returns 0; -1 with errno if
// the kernel refuses, does not answer, or the dump was disturbed twice (EINTR) and is incomplete.
int NetlinkAsk(mnl_socket *socket, nlmsghdr *request, mnl_cb_t callback, void *user);

// Reads one attribute: true if it is there and has at least `size` bytes of data.
bool HasRoom(const nlattr *attribute, size_t size);

// Gives each attribute among `length` bytes from `first` to `body`. One that says it is longer than what is left ends it.
template <typename Body>
void ForEachAttribute(const void *first, size_t length, Body body)
{
    const nlattr *attribute = static_cast<const nlattr *>(first);
    for (int left = int(length); mnl_attr_ok(attribute, left);) {
        body(attribute);
        left -= int(MNL_ALIGN(attribute->nla_len));
        attribute = mnl_attr_next(attribute);
    }
}

// The same for those inside of an attribute.
template <typename Body>
void ForEachNested(const nlattr *nest, Body body)
{
    if (nest) ForEachAttribute(mnl_attr_get_payload(nest), mnl_attr_get_payload_len(nest), body);
}

// Collects the attributes of a list by their type; those above `most` are left out. `attributes` has `most` + 1 places,
// null where there is none. `header` bytes of the message come before them.
void CollectAttributes(const nlmsghdr *message, size_t header, const nlattr **attributes, int most);
void CollectNested(const nlattr *nest, const nlattr **attributes, int most);
