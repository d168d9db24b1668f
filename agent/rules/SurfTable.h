// SurfTable.h - the internet-access-time rules ("surf rules") in memory: a list of time ranges for each device and
// weekday, found by a key text "MAC|weekday".
//
// The platform has its own picture of this table and counts on its habits, odd ones included: the loose look-up, the
// removal that takes a bucket's tail along, the count that never falls. They are all meant.
//
// State:    the table below. All of its memory is this module's: a rule that is handed over belongs to it at once,
//           whether it is stored or refused, and what drops out of the table is still known to hash_table_destroy().
// Threads:  the response thread changes the table, the rule thread reads it. Every procedure here but
//           hash_table_init(), hash_table_print() and hash_table_destroy() expects its caller to hold hashTableMutex,
//           which is the innermost lock: hold it for one look-up or one change, and for nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

constexpr size_t kHashBuckets = 512;       // a power of two
constexpr int32_t kHashInsertions = 512;   // keys that hash_table_insert() takes in between two hash_table_init()
constexpr uint32_t kSurfRulesMost = 16384; // rules that are in memory at a time; one day has 1440 minutes

// A range of the day, both ends included. Compared and stored as it is, whatever the numbers.
struct SurfRule {
    int32_t startHour;
    int32_t startMinute;
    int32_t stopHour;
    int32_t stopMinute;
};
static_assert(sizeof(SurfRule) == 16, "rules are compared as 16 bytes");

struct RuleNode {
    SurfRule *rule; // the node's own
    RuleNode *next;
};

struct HashEntry {
    char *key;       // its own copy
    RuleNode *rules; // its own; null when the last one has been deleted
    HashEntry *next; // the next of the bucket
};

extern pthread_mutex_t hashTableMutex; // guards the table and every list in it

extern HashEntry *hashTable[kHashBuckets];
extern int32_t hash_table_size; // insertions since hash_table_init(); a removal does not lower it

// ---- The table ----

// The bucket of a key: its characters, which are signed, as the digits of a number to the base 31; 0 for an empty one.
size_t hash_table_bucket(const char *key);

// Empties the table and starts its count anew. What was in it is dropped, not freed: no look-up finds it again.
// Takes the lock.
void hash_table_init();

// The first entry in the bucket of `key` whose own key is the beginning of `key`, or null.
HashEntry *hash_table_lookup(const char *key);

// Makes an entry for `key` with `rule`, which it takes over, as its first rule (null: with none). Does nothing but log
// when kHashInsertions have been made, when there is an entry with exactly this key, or when there is no memory.
void hash_table_insert(const char *key, SurfRule *rule);

// Takes the entry with exactly this key out of the table and frees it with its rules; nothing when there is none. When
// it stands first in its bucket, the bucket is empty afterwards: the entries behind it are dropped.
void hash_table_remove(const char *key);

// Logs the whole table at debug level. Takes the lock.
void hash_table_print();

// Frees every entry that there is, those included that the table has dropped, and leaves all buckets empty; the count
// stays. Takes the lock.
void hash_table_destroy();

// ---- Lists of rules ----

// A list of one node that takes `rule` over. Null when `rule` is, and when there is no memory; then `rule` is freed.
RuleNode *rule_node_init(SurfRule *rule);

// Appends `rule`, which it takes over, unless an equal one is there already. Returns the list's head.
RuleNode *rule_node_insert(RuleNode *list, SurfRule *rule);

// Whether an equal rule is in the list: 1 or 0; -1 when there is no list.
int rule_node_exist(const RuleNode *list, const SurfRule *rule);

// Takes the first rule that equals `rule` out of the list and frees it. `rule` stays the caller's and is none of the
// list's. Returns the list's head, null when nothing is left.
RuleNode *rule_node_delete(RuleNode *list, const SurfRule *rule);

// Frees the list with its rules. Returns 0, or -1 when there is no list.
int rule_node_destroy(RuleNode *list);

// Whether one of the ranges contains the time: 1 or 0; -1 when there is no list. A range does not reach over midnight:
// one that stops before it starts contains nothing.
int rule_node_match(const RuleNode *list, int hour, int minute);
