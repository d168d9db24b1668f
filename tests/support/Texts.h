// Texts.h - questions about texts.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <string>

// Whether `part` stands in `text`.
bool Contains(const std::string &text, const std::string &part);

// How often `part`, which is not empty, stands in `text`, each behind the one before.
size_t CountOf(const std::string &text, const std::string &part);
