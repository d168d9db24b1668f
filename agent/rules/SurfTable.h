// SurfTable.h - the internet-access-time rules ("surf rules") in memory: a list of time ranges for each device and
// weekday, found by a key text "MAC|weekday".
//
// Platforms keep their own copy of this table and rely on its odd behaviour: the look-up by prefix, the removal that
// drops the rest of a bucket, the count that never falls. Do not mend these.
//
// State:    the table below. The module owns all of its memory: a rule that is passed in belongs to it at once, whether
//           stored or refused, and hash_table_destroy() also frees what has been dropped from the table.
// Threads:  the response thread changes the table, the rule thread reads it. Callers must hold hashTableMutex, except
//           for hash_table_init(), hash_table_print() and hash_table_destroy(), which take it themselves. It is the
//           innermost lock: hold it for one look-up or one change, and for nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

constexpr size_t kHashBuckets = 512;      // a power of two
constexpr int32_t kHashInsertions = 512;  // keys that hash_table_insert() accepts between two hash_table_init()
constexpr uint32_t kMaxSurfRules = 16384; // rules in memory at a time; a day has 1440 minutes

// A range of the day, both ends included. Any numbers are stored and compared, also impossible times.
struct SurfRule {
    int32_t startHour;
    int32_t startMinute;
    int32_t stopHour;
    int32_t stopMinute;
};
static_assert(sizeof(SurfRule) == 16, "rules are compared as 16 bytes");

struct RuleNode {
    SurfRule *rule; // owned by the node
    RuleNode *next;
};

struct HashEntry {
    char *key;       // owned by the entry, as the next
    RuleNode *rules; // null if the last one has been deleted
    HashEntry *next; // the next in the bucket
};

extern pthread_mutex_t hashTableMutex; // guards the table and every list in it

extern HashEntry *hashTable[kHashBuckets];
extern int32_t hash_table_size; // insertions since hash_table_init(); a removal does not lower it

// ---- The table ----

// The bucket of a key: its characters, as signed numbers, are the digits of a number to the base 31. 0 for an empty
// key.
[[nodiscard]] size_t hash_table_bucket(const char *key);

// Empties the table and resets its count. The old entries are dropped, not freed: no look-up finds them any more.
// Takes the lock.
void hash_table_init();

// The first entry in the bucket of `key` whose own key is a prefix of `key`, or null.
[[nodiscard]] HashEntry *hash_table_lookup(const char *key);

// Makes an entry for `key` with `rule` as its first rule (null: without a rule). Takes ownership of `rule`. Only logs
// if kHashInsertions have been made, if there is an entry with exactly this key, or if there is no memory.
void hash_table_insert(const char *key, SurfRule *rule);

// Removes the entry with exactly this key and frees it with its rules; does nothing if there is none. If the entry is
// the first in its bucket, the entries after it are dropped, too: the bucket is empty then.
void hash_table_remove(const char *key);

// Logs the whole table at debug level. Takes the lock.
void hash_table_print();

// Frees all entries, also the dropped ones, and empties all buckets; the count stays. Takes the lock.
void hash_table_destroy();

// ---- Lists of rules ----

// A list of one node, which takes ownership of `rule`. Null if `rule` is null, or if there is no memory; `rule` is
// freed then.
[[nodiscard]] RuleNode *rule_node_init(SurfRule *rule);

// Appends `rule`, unless an equal one is there; takes ownership of it in any case. Returns the list's head.
[[nodiscard]] RuleNode *rule_node_insert(RuleNode *list, SurfRule *rule);

// Whether an equal rule is in the list: 1 or 0; -1 if `list` is null.
[[nodiscard]] int rule_node_exist(const RuleNode *list, const SurfRule *rule);

// Removes the first rule that equals `rule` from the list and frees it. `rule` itself remains the caller's; it must not
// be an element of the list. Returns the list's head, null if the list is empty now.
[[nodiscard]] RuleNode *rule_node_delete(RuleNode *list, const SurfRule *rule);

// Frees the list with its rules. Returns 0, or -1 if `list` is null.
int rule_node_destroy(RuleNode *list);

// Whether one of the ranges contains the time: 1 or 0; -1 if `list` is null. Ranges do not extend over midnight: one
// that stops before it starts contains nothing.
[[nodiscard]] int rule_node_match(const RuleNode *list, int hour, int minute);
