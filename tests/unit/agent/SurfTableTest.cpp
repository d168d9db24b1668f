#include "rules/SurfTable.h"

#include <climits>

#include "core/Common.h"
#include "os/OsMemory.h"
#include "tests/unit/agent/SurfTest.h"

class SurfTableTest : public SurfTest
{
  protected:
    // Rules of the entry that a look-up of `key` finds; "none" without one.
    static std::string Found(const std::string &key)
    {
        const HashEntry *entry = hash_table_lookup(key.c_str());
        return entry ? Ranges(entry->rules) : "none";
    }

    static void Insert(const std::string &key) { hash_table_insert(key.c_str(), NewRule(8, 0, 9, 0)); }

    // Three keys of one bucket, in the order in which the bucket has them: C, B, A.
    static constexpr const char *kA = "02:00:00:00:31:0E|1";
    static constexpr const char *kB = "02:00:00:00:19:10|1";
    static constexpr const char *kC = "02:00:00:00:3A:16|1";
    static void InsertThreeOfOneBucket()
    {
        for (const char *key : {kA, kB, kC}) {
            ASSERT_EQ(100u, hash_table_bucket(key));
            Insert(key);
        }
    }
};

// ---- Hash ----

TEST_F(SurfTableTest, HashesTheDigitsOfANumberToTheBaseThirtyOne)
{
    EXPECT_EQ(65u, hash_table_bucket("A"));
    EXPECT_EQ(33u, hash_table_bucket("AB")); // 65 * 31 + 66 = 2081 = 4 * 512 + 33
    EXPECT_EQ(0u, hash_table_bucket(""));
    EXPECT_EQ(335u, hash_table_bucket("AA:BB:CC:DD:EE:FF|1"));
}

TEST_F(SurfTableTest, HashesBytesAbove127AsNegativeNumbers)
{
    EXPECT_EQ(511u, hash_table_bucket("\xFF"));     // -1
    EXPECT_EQ(384u, hash_table_bucket("\x80"));     // -128
    EXPECT_EQ(34u, hash_table_bucket("\xFF\x41"));  // -31 + 65
    EXPECT_EQ(380u, hash_table_bucket("A\xFFz!!")); // (((65 * 31 - 1) * 31 + 122) * 31 + 33) * 31 + 33, modulo 512
}

TEST_F(SurfTableTest, HashesOfLongKeysWrapAround)
{
    // 40 times "z": 122 * (31^40 - 1) / 30, modulo 512.
    EXPECT_EQ(0u, hash_table_bucket(std::string(32, 'z').c_str()));
    EXPECT_EQ(256u, hash_table_bucket(std::string(40, 'z').c_str()));
}

// ---- Look-up ----

TEST_F(SurfTableTest, FindsWhatWasInserted)
{
    Insert("AA:BB:CC:DD:EE:FF|1");
    EXPECT_EQ("8:0-9:0", Found("AA:BB:CC:DD:EE:FF|1"));
    EXPECT_TRUE(Holds(Log(), "hash_table_lookup->"));
    EXPECT_EQ("none", Found("AA:BB:CC:DD:EE:FF|2"));
    EXPECT_EQ("none", Found("AA:BB:CC:DD:EE:FF|"));
    EXPECT_EQ("", Log());
}

TEST_F(SurfTableTest, LogsTheBucketAndTheKeyThatWasLookedUp)
{
    Insert("AB");
    Log();
    Found("AB");
    EXPECT_TRUE(Holds(Log(), "[RouteFunc->hash_table_lookup->"));
    Found("AB");
    EXPECT_TRUE(Holds(Log(), "]-> found 33  AB\n"));
}

TEST_F(SurfTableTest, ALookUpFindsAnEntryWhoseKeyIsAPrefixOfTheText)
{
    ASSERT_EQ(hash_table_bucket("AA:BB:CC:DD:EE:5B|1"), hash_table_bucket("AA:BB:CC:DD:EE:5B|1x"));
    Insert("AA:BB:CC:DD:EE:5B|1");
    EXPECT_EQ("8:0-9:0", Found("AA:BB:CC:DD:EE:5B|1x"));
    hash_table_remove("AA:BB:CC:DD:EE:5B|1x"); // this one compares exactly
    EXPECT_EQ("8:0-9:0", Found("AA:BB:CC:DD:EE:5B|1"));
    hash_table_remove("AA:BB:CC:DD:EE:5B|1");
    EXPECT_EQ("none", Found("AA:BB:CC:DD:EE:5B|1"));
}

TEST_F(SurfTableTest, ALookUpSearchesTheBucketOfTheWholeTextOnly)
{
    ASSERT_NE(hash_table_bucket("AA:BB:CC:DD:EE:FF|1"), hash_table_bucket("AA:BB:CC:DD:EE:FF|1x"));
    Insert("AA:BB:CC:DD:EE:FF|1");
    EXPECT_EQ("none", Found("AA:BB:CC:DD:EE:FF|1x"));
}

TEST_F(SurfTableTest, ATextThatIsAPrefixOfAKeyDoesNotFindIt)
{
    Insert("AA:BB:CC:DD:EE:5B|1x");
    EXPECT_EQ("none", Found("AA:BB:CC:DD:EE:5B|1"));
}

TEST_F(SurfTableTest, TheEmptyKeyIsFoundByEveryTextOfBucketZero)
{
    const std::string text(32, 'z'); // of bucket 0
    Insert("");
    EXPECT_EQ("8:0-9:0", Found(""));
    EXPECT_EQ("8:0-9:0", Found(text));
    EXPECT_EQ("none", Found("A"));
}

TEST_F(SurfTableTest, OfTwoMatchingEntriesTheLaterOneIsFound)
{
    hash_table_insert("AA:BB:CC:DD:EE:5B|1", NewRule(1, 0, 2, 0));
    hash_table_insert("AA:BB:CC:DD:EE:5B|1x", NewRule(3, 0, 4, 0));
    EXPECT_EQ("3:0-4:0", Found("AA:BB:CC:DD:EE:5B|1x"));
    hash_table_init();
    hash_table_insert("AA:BB:CC:DD:EE:5B|1x", NewRule(3, 0, 4, 0));
    hash_table_insert("AA:BB:CC:DD:EE:5B|1", NewRule(1, 0, 2, 0));
    EXPECT_EQ("1:0-2:0", Found("AA:BB:CC:DD:EE:5B|1x"));
}

// ---- Insertion ----

TEST_F(SurfTableTest, NewEntriesStandFirstInTheirBucket)
{
    InsertThreeOfOneBucket();
    const HashEntry *entry = hashTable[100];
    EXPECT_STREQ(kC, entry->key);
    EXPECT_STREQ(kB, entry->next->key);
    EXPECT_STREQ(kA, entry->next->next->key);
    EXPECT_EQ(nullptr, entry->next->next->next);
    EXPECT_EQ(3, hash_table_size);
}

TEST_F(SurfTableTest, TheKeyIsCopied)
{
    char key[] = "AB";
    hash_table_insert(key, NewRule(8, 0, 9, 0));
    key[1] = 'C';
    EXPECT_EQ("8:0-9:0", Found("AB"));
}

TEST_F(SurfTableTest, ASecondInsertionUnderOneKeyIsRefused)
{
    hash_table_insert("AB", NewRule(8, 0, 9, 0));
    Log();
    hash_table_insert("AB", NewRule(10, 0, 11, 0));
    EXPECT_TRUE(Holds(Log(), "AB exist!\n"));
    EXPECT_EQ("8:0-9:0", Found("AB"));
    EXPECT_EQ(1, hash_table_size);
}

TEST_F(SurfTableTest, AnEntryMayBeginWithoutARule)
{
    hash_table_insert("AB", nullptr);
    EXPECT_TRUE(Holds(Log(), "rule empty! \n"));
    EXPECT_EQ("", Found("AB"));
    EXPECT_EQ(1, hash_table_size);
}

TEST_F(SurfTableTest, Holds512EntriesAndRefusesTheNext)
{
    for (int i = 0; i < 512; i++) Insert("KEY" + std::to_string(i));
    EXPECT_EQ(512, hash_table_size);
    EXPECT_FALSE(Holds(Log(), "Mem overflow!"));
    Insert("ONE MORE");
    EXPECT_TRUE(Holds(Log(), "Mem overflow!\n"));
    EXPECT_EQ(512, hash_table_size);
    EXPECT_EQ("none", Found("ONE MORE"));
    for (int i = 0; i < 512; i++) EXPECT_EQ("8:0-9:0", Found("KEY" + std::to_string(i))) << i;
}

TEST_F(SurfTableTest, RemovalsDoNotLowerTheCountOfInsertions)
{
    for (int i = 0; i < 512; i++) {
        Insert("AB");
        hash_table_remove("AB");
    }
    EXPECT_EQ(512, hash_table_size);
    EXPECT_EQ(nullptr, hashTable[33]);
    Log();
    Insert("AB");
    EXPECT_TRUE(Holds(Log(), "Mem overflow!\n"));
    EXPECT_EQ("none", Found("AB"));
    hash_table_init();
    Insert("AB");
    EXPECT_EQ("8:0-9:0", Found("AB"));
}

TEST_F(SurfTableTest, AFullTableRefusesBeforeItSearchesTheKey)
{
    for (int i = 0; i < 512; i++) Insert("KEY" + std::to_string(i));
    Log();
    Insert("KEY7");
    const std::string log = Log();
    EXPECT_TRUE(Holds(log, "Mem overflow!\n"));
    EXPECT_FALSE(Holds(log, "exist!"));
}

// ---- Removal ----

TEST_F(SurfTableTest, RemovingTheFirstEntryOfABucketDropsTheEntriesAfterIt)
{
    InsertThreeOfOneBucket();
    hash_table_remove(kC);
    EXPECT_EQ(nullptr, hashTable[100]);
    for (const char *key : {kA, kB, kC}) EXPECT_EQ("none", Found(key));
    EXPECT_EQ(3, hash_table_size);
    Insert(kA); // not there, so it can come again
    EXPECT_EQ("8:0-9:0", Found(kA));
}

TEST_F(SurfTableTest, RemovingAnEntryFromTheMiddleLeavesTheOthers)
{
    InsertThreeOfOneBucket();
    hash_table_remove(kB);
    EXPECT_EQ("none", Found(kB));
    EXPECT_EQ("8:0-9:0", Found(kA));
    EXPECT_EQ("8:0-9:0", Found(kC));
}

TEST_F(SurfTableTest, RemovingTheLastEntryOfABucketLeavesTheOthers)
{
    InsertThreeOfOneBucket();
    hash_table_remove(kA);
    EXPECT_EQ("none", Found(kA));
    EXPECT_EQ("8:0-9:0", Found(kB));
    EXPECT_EQ("8:0-9:0", Found(kC));
}

TEST_F(SurfTableTest, RemovingAMissingEntryChangesNothing)
{
    InsertThreeOfOneBucket();
    Log();
    hash_table_remove("02:00:00:00:07:31|1"); // of the same bucket
    EXPECT_TRUE(Holds(Log(), "remove 02:00:00:00:07:31|1\n"));
    for (const char *key : {kA, kB, kC}) EXPECT_EQ("8:0-9:0", Found(key));
}

TEST_F(SurfTableTest, RemovingFreesTheEntryWithAllItsRules)
{
    const int before = FakeAllocationsAlive();
    hash_table_insert("AB", NewRule(8, 0, 9, 0));
    HashEntry *entry = hash_table_lookup("AB");
    entry->rules = rule_node_insert(entry->rules, NewRule(10, 0, 11, 0));
    EXPECT_LT(before, FakeAllocationsAlive());
    hash_table_remove("AB");
    EXPECT_EQ(before, FakeAllocationsAlive());
}

TEST_F(SurfTableTest, DroppedEntriesAreFreedWhenTheTableIsDestroyed)
{
    const int before = FakeAllocationsAlive();
    InsertThreeOfOneBucket();
    hash_table_remove(kC);
    EXPECT_LT(before, FakeAllocationsAlive());
    Insert("AB");
    hash_table_destroy();
    EXPECT_EQ(before, FakeAllocationsAlive());
    EXPECT_EQ("none", Found("AB"));
    EXPECT_EQ(4, hash_table_size); // only hash_table_init() begins it anew
}

// ---- Beginning ----

TEST_F(SurfTableTest, InitialisingEmptiesTheTableWithoutFreeingAnything)
{
    InsertThreeOfOneBucket();
    const int before = FakeAllocationsAlive();
    Log();
    hash_table_init();
    EXPECT_TRUE(Holds(Log(), "[INFO] [RouteFunc->hash_table_init->"));
    EXPECT_EQ(before, FakeAllocationsAlive());
    EXPECT_EQ(0, hash_table_size);
    for (const HashEntry *bucket : hashTable) EXPECT_EQ(nullptr, bucket);
    hash_table_init();
    EXPECT_TRUE(Holds(Log(), "Rule table init done.\n"));
}

TEST_F(SurfTableTest, PrintsEveryBucketWithItsKeysAndRules)
{
    hash_table_insert("AB", NewRule(8, 0, 9, 30));
    HashEntry *entry = hash_table_lookup("AB");
    entry->rules = rule_node_insert(entry->rules, NewRule(22, 15, 23, 59));
    Log();
    hash_table_print();
    const std::string log = Log();
    for (const char *line : {"]-> 0=>\n", "]-> 33=>\n", "]-> AB\n", "]-> START 8:0 STOP 9:30 \n",
                             "]-> START 22:15 STOP 23:59 \n", "]-> 511=>\n"})
        EXPECT_TRUE(Holds(log, line)) << line;
    EXPECT_LT(log.find("33=>"), log.find("]-> AB\n"));
    EXPECT_LT(log.find("]-> AB\n"), log.find("34=>"));
}

// ---- No memory ----

TEST_F(SurfTableTest, AnInsertionWithoutMemoryIsLoggedAndChangesNothing)
{
    const int before = FakeAllocationsAlive();
    for (int nth : {1, 2, 3}) { // entry, key, node
        SurfRule *rule = NewRule(8, 0, 9, 0);
        Log();
        FakeFailAllocation(nth);
        hash_table_insert("AB", rule);
        EXPECT_TRUE(Holds(Log(), "Mem overflow!\n")) << nth;
        EXPECT_EQ("none", Found("AB")) << nth;
        EXPECT_EQ(0, hash_table_size) << nth;
        EXPECT_EQ(before, FakeAllocationsAlive()) << nth;
    }
}

TEST_F(SurfTableTest, ARuleWithoutMemoryIsLoggedAndLeavesTheList)
{
    RuleNode *list = rule_node_init(NewRule(8, 0, 9, 0));
    SurfRule *rule = NewRule(10, 0, 11, 0);
    FakeFailAllocation(1);
    EXPECT_EQ(list, rule_node_insert(list, rule));
    EXPECT_TRUE(Holds(Log(), "Mem overflow!\n"));
    EXPECT_EQ("8:0-9:0", Ranges(list));
    rule_node_destroy(list);
}

TEST_F(SurfTableTest, RulesInMemoryAreBounded)
{
    d_set_log_level(LOG_LEVEL_NONE);
    RuleNode *list = nullptr;
    uint32_t lists = 0;
    std::vector<RuleNode *> all;
    for (; lists < kMaxSurfRules; lists++) all.push_back(rule_node_init(NewRule(0, 0, 0, static_cast<int>(lists))));
    for (RuleNode *node : all) ASSERT_NE(nullptr, node);
    d_set_log_level(LOG_LEVEL_ALL);
    EXPECT_EQ(nullptr, rule_node_init(NewRule(1, 0, 0, 0)));
    EXPECT_TRUE(Holds(Log(), "Mem overflow!\n"));
    rule_node_destroy(all.back());
    list = rule_node_init(NewRule(1, 0, 0, 0)); // there is room again
    EXPECT_EQ("1:0-0:0", Ranges(list));
    all.back() = list;
    for (RuleNode *node : all) rule_node_destroy(node);
}
