// The table against a plain model of it, over long random sequences of everything that changes it.
#include <map>
#include <random>

#include "core/Common.h"
#include "rules/SurfRules.h"
#include "tests/unit/agent/SurfTest.h"

namespace
{

typedef std::vector<int> Range; // start hour, start minute, stop hour, stop minute

// What the table is to be, in plain containers: the rules of each key, and the order of the keys in each bucket.
class Model
{
  public:
    // The key that a look-up of `text` comes to, or "none".
    std::string Find(const std::string &text) const
    {
        const auto bucket = mBuckets.find(Bucket(text));
        if (bucket == mBuckets.end()) return "none";
        for (const std::string &key : bucket->second)
            if (text.compare(0, key.size(), key) == 0) return key; // the key is the beginning of the text
        return "none";
    }

    void Insert(const std::string &key, const Range &rule)
    {
        if (mCount >= 512 || mRules.count(key)) return;
        mRules[key] = {rule};
        std::vector<std::string> &bucket = mBuckets[Bucket(key)];
        bucket.insert(bucket.begin(), key);
        mCount++; // and never down again
    }

    void Remove(const std::string &key)
    {
        if (!mRules.count(key)) return;
        std::vector<std::string> &bucket = mBuckets[Bucket(key)];
        if (bucket.front() == key) { // takes the whole bucket along
            for (const std::string &dropped : bucket) mRules.erase(dropped);
            bucket.clear();
            return;
        }
        mRules.erase(key);
        for (auto at = bucket.begin(); at != bucket.end(); ++at) {
            if (*at != key) continue;
            bucket.erase(at);
            return;
        }
    }

    void Set(const std::string &text, const Range &rule)
    {
        const std::string key = Find(text);
        if (key == "none") {
            Insert(text, rule);
            return;
        }
        std::vector<Range> &rules = mRules[key];
        for (const Range &stored : rules)
            if (stored == rule) return;
        rules.push_back(rule);
    }

    int Delete(const std::string &text, const Range &rule)
    {
        const std::string key = Find(text);
        if (key == "none") return -1;
        std::vector<Range> &rules = mRules[key];
        for (auto at = rules.begin(); at != rules.end(); ++at) {
            if (*at != rule) continue;
            rules.erase(at);
            break;
        }
        if (rules.empty()) Remove(text); // the text and not the key: another one keeps its empty entry
        return 0;
    }

    void Init() { *this = Model(); }
    int Count() const { return mCount; }

    static size_t Bucket(const std::string &key)
    {
        uint64_t power = 1, sum = 0;
        for (auto c = key.rbegin(); c != key.rend(); ++c, power = power * 31 % 512)
            sum += power * static_cast<uint64_t>(512 + static_cast<signed char>(*c));
        return sum % 512;
    }

    // Everything, in the order of the buckets.
    std::string Text() const
    {
        std::string text;
        for (const auto &bucket : mBuckets)
            for (const std::string &key : bucket.second) {
                text += std::to_string(bucket.first) + ' ' + key + ':';
                for (const Range &r : mRules.at(key))
                    text += ' ' + std::to_string(r[0]) + ':' + std::to_string(r[1]) + '-' + std::to_string(r[2]) + ':' +
                            std::to_string(r[3]);
                text += '\n';
            }
        return text;
    }

  private:
    std::map<std::string, std::vector<Range>> mRules;
    std::map<size_t, std::vector<std::string>> mBuckets;
    int mCount = 0;
};

std::string TableText()
{
    std::string text;
    for (size_t bucket = 0; bucket < kHashBuckets; bucket++)
        for (const HashEntry *entry = hashTable[bucket]; entry; entry = entry->next) {
            const std::string rules = Ranges(entry->rules);
            text += std::to_string(bucket) + ' ' + entry->key + ':' + (rules.empty() ? "" : " " + rules) + '\n';
        }
    return text;
}

std::string FoundKey(const std::string &text)
{
    const HashEntry *entry = hash_table_lookup(text.c_str());
    return entry ? entry->key : "none";
}

} // namespace

class SurfTableModelTest : public SurfTest
{
  protected:
    void SetUp() override
    {
        SurfTest::SetUp();
        d_set_log_level(LOG_LEVEL_NONE);
        MakeTexts();
    }

    // Device texts that meet in few buckets and of which some, with weekday, are the beginning of others.
    void MakeTexts()
    {
        for (char a = 'a'; a <= 'm'; a++)
            for (char b = 'a'; b <= 'm'; b++)
                for (char c = 'a'; c <= 'm'; c++) {
                    const std::string mac = {a, b, c};
                    if (Model::Bucket(mac + "|1") % 64 == 7) mMacs.push_back(mac);
                }
        for (size_t i = 0, plain = mMacs.size(); i < plain; i++)
            for (char c = '0'; c <= 'z'; c++) {
                const std::string longer = mMacs[i] + "|1" + c;
                if (Model::Bucket(longer + "|1") == Model::Bucket(mMacs[i] + "|1")) mMacs.push_back(longer);
            }
        mMacs.push_back("");
        mMacs.push_back("\xC3\xA4");
    }

    size_t Draw(size_t below) { return std::uniform_int_distribution<size_t>(0, below - 1)(mRandom); }
    std::string DrawMac() { return mMacs[Draw(mMacs.size())]; }
    std::string DrawDay() { return Draw(8) ? "1" : std::to_string(1 + Draw(7)); }
    Range DrawRange()
    {
        const int hour = static_cast<int>(Draw(4));
        return {hour, 0, hour + 1, static_cast<int>(Draw(2))};
    }
    static SurfRule *Own(const Range &r) { return NewRule(r[0], r[1], r[2], r[3]); }

    void Step()
    {
        const std::string mac = DrawMac(), day = DrawDay(), key = mac + '|' + day;
        const Range range = DrawRange();
        const SurfRule rule = {range[0], range[1], range[2], range[3]};
        const size_t what = Draw(100);
        if (what < 45) {
            mModel.Set(key, range);
            set_surf_rule(mac.c_str(), day.c_str(), Own(range));
        } else if (what < 80) {
            ASSERT_EQ(mModel.Delete(key, range), del_surf_rule(mac.c_str(), day.c_str(), &rule));
        } else if (what < 90) {
            mModel.Insert(key, range);
            hash_table_insert(key.c_str(), Own(range));
        } else {
            mModel.Remove(key);
            hash_table_remove(key.c_str());
        }
        const std::string text = DrawMac() + '|' + DrawDay() + (Draw(2) ? "x" : "");
        ASSERT_EQ(mModel.Find(text), FoundKey(text));
        ASSERT_EQ(mModel.Count(), hash_table_size);
    }

    std::mt19937 mRandom;
    std::vector<std::string> mMacs;
    Model mModel;
};

TEST_F(SurfTableModelTest, BehavesLikeThePlainModelUnderRandomOperations)
{
    ASSERT_GE(mMacs.size(), 20u);
    size_t chained = 0, empty = 0, prefixed = 0, full = 0;
    for (unsigned seed = 1; seed <= 20 && !HasFatalFailure(); seed++) {
        mRandom.seed(seed);
        hash_table_init();
        mModel.Init();
        for (int step = 0; step < 6000; step++) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
            Step();
            if (HasFatalFailure()) return;
            if (step % 20 != 0) continue;
            ASSERT_EQ(mModel.Text(), TableText());
            for (const HashEntry *bucket : hashTable) {
                chained += bucket && bucket->next;
                empty += bucket && !bucket->rules;
            }
            const std::string text = DrawMac() + "|1";
            const std::string found = FoundKey(text);
            prefixed += found != "none" && found != text;
        }
        full += hash_table_size == kHashInsertions;
        hash_table_destroy();
    }
    // The sequences have met the odd cases: otherwise they would prove little.
    EXPECT_GT(chained, 1000u);
    EXPECT_GT(empty, 10u);
    EXPECT_GT(prefixed, 100u);
    EXPECT_GT(full, 10u);
}
