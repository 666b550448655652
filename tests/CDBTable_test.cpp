#include "store/CDBTable.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>
#include <sstream>

#include "base/Status.h"

using namespace std::string_literals;

static int32_t Create(CDBFieldArray* fields, const std::string& name, int32_t type, int32_t flags) {
    CCString text;
    text.CopyString(name.c_str(), -1);
    return fields->CreateField(text, type, flags);
}

// Values and keys are written as field, comparison and bytes, one or more: "I<\0\0\0\5,T=abc".
class CDBTableTest : public testing::Test {
  protected:
    CDBTableTest() { SetUpTable(); }
    void SetUpTable() {
        CDBFieldArray fields;
        for (const std::string field : {"N71", "I11", "T21", "U22", "C33"}) {
            Create(&fields, field.substr(0, 1), field[1] - '0', field[2] - '0');
        }
        table_ = std::make_unique<CDBTable>();
        EXPECT_EQ(table_->Init(&fields), ENGINE_OK);
    }
    CDBField* Field(char c) { return table_->GetFields()->GetField(uint32_t("NITUC"s.find(c))); }
    std::vector<DATASTRUCT> Values(const std::string& text) {
        std::vector<DATASTRUCT> values;
        std::istringstream words(text);
        for (std::string word; std::getline(words, word, ',');) {
            auto& bytes = kept_.emplace_back(word.begin() + 2, word.end());
            values.push_back({Field(word[0]), bytes.data(), uint32_t(bytes.size()),
                              int32_t("=<>{}?"s.find(word[1]))});
        }
        return values;
    }
    int32_t Put(CDBNode* record, const std::string& text, const CDBNode* replaced = nullptr) {
        return table_->PutNodeValue(record, &Values(text)[0], replaced);
    }
    CDBNode* Add(const std::string& text, bool has_room = false) {
        CDBNode* record = nullptr;
        CDBNodeRoom room;
        for (const DATASTRUCT& value : Values(text)) {
            room.AddValue(has_room ? value.length : UINT32_MAX);
        }
        EXPECT_EQ(table_->CreateNode(&record, room), ENGINE_OK);
        for (const DATASTRUCT& value : Values(text)) {
            EXPECT_EQ(table_->PutNodeValue(record, &value, nullptr), ENGINE_OK) << text;
        }
        EXPECT_EQ(table_->InsertNode(record), ENGINE_OK);
        return record;
    }
    std::string Read(const CDBNode* record, char field = 'N') {
        const CDBNodeValue* v = record != nullptr ? record->SearchNodeValue(Field(field)) : nullptr;
        return v == nullptr ? "-"
                            : std::string(static_cast<const char*>(v->GetData()), v->GetLength());
    }
    std::string Rest(CDBSearch* search) {  // the names of the records that are still ahead
        const CDBNode* record = search->GetNextCache();
        return record != nullptr ? Read(record) + Rest(search) : "";
    }
    std::string Find(const std::string& keys) {
        CDBSearch search;
        for (const DATASTRUCT& key : Values(keys)) {
            EXPECT_EQ(table_->FindNodes(&search, &key), ENGINE_OK);
        }
        return Rest(&search);
    }
    std::unique_ptr<CDBTable> table_;
    std::deque<std::vector<char>> kept_;  // blocks that end where their bytes do
};

TEST_F(CDBTableTest, ValuesCompareByTheirTypeOverTheShorterLength) {
    std::istringstream rows(
        "I=\0\0\0\5 > T=\xFF\xFF\xFF\xFD  I=\x80\0\0\0 < T=\x7F\xFF\xFF\xFF  I=7654x = T=7654 "
        "I=\1 = T=\1\0\0\0  I=\xFF\xFF\xFF\1 > T=\xFF  I= < T=a  T= < T=  T=a > T= "
        "T=abc = I=abcdef  T=abc = I=ab  T=\x80 > I=a  C=a\0b < I=a\0c  N=b > I=abc"s);
    for (std::string stored, sign, key; rows >> stored >> sign >> key;) {
        const int c = Add(stored)->GetHead()->CompareValue(&Values(key)[0]);
        EXPECT_EQ("<=>"[(c > 0) - (c < 0) + 1], sign[0]) << testing::PrintToString(stored + key);
    }
}

TEST_F(CDBTableTest, ARecordHoldsOneValueForEachField) {
    CDBNode* record = Add("T=first,U=,I=abc,T=longer");
    CDBNode* copy = nullptr;
    EXPECT_EQ(table_->CloneNode(&copy, record), ENGINE_OK);
    EXPECT_EQ(Put(record, "T=new") + Put(record, "U=x") + Put(record, "I="), ENGINE_OK);
    EXPECT_EQ(Read(record, 'T') + Read(record, 'I') + Read(record, 'C'), "new-");
    EXPECT_EQ(Read(copy, 'T') + Read(copy, 'U') + Read(copy, 'I'), "longerabc");
    CDBTable::DeleteNode(copy);

    const std::vector<DATASTRUCT> keys = Values("T=xyz,U=,C=");
    const std::unique_ptr<CDBNodeValue> last(record->SearchNodeValue(Field('I')));
    EXPECT_EQ(record->DeleteNodeValue(&keys[2]), ENGINE_NO_VALUE);
    EXPECT_EQ(record->DeleteNodeValue(CDBNode::CreateNodeValue(&keys[0])), ENGINE_OK);
    EXPECT_EQ(record->DeleteNodeValue(&keys[1]), ENGINE_OK);
    EXPECT_EQ(record->GetHead()->GetNext(), last.get());
    EXPECT_EQ(record->DeleteNodeValue(&keys[0]), ENGINE_OK);
    EXPECT_EQ(record->GetHead(), nullptr) << "the first value takes the others with it";
}

// Chains are made when they are asked for and kept from then on; walking them finds what look-ups
// find. Values are prefixes of each other, of lengths that share buckets, and of every kind.
TEST_F(CDBTableTest, LookUpsFindWhatWalkingTheChainsFinds) {
    std::minstd_rand random(7);  // the seed
    std::vector<CDBNode*> records;
    const std::vector<std::string> parts = {"", "a", "ab", "abc", "b", "\0"s, "a\0"s, "\0\0\1"s};
    const auto value = [&] {
        std::string bytes = parts[random() % parts.size()] + parts[random() % parts.size()];
        return random() % 9 != 0 ? bytes : bytes + std::string(1986 + random() % 3, 'x');
    };
    const auto walk = [&](const CDBHash* index, const DATASTRUCT& key) {
        CDBSearch search;
        const CDBHashNode* link = index->GetHeadHashNode(index->GetHashValue(&key));
        std::string found;
        for (; link != nullptr; link = link->next) {
            const CDBNodeValue* held = link->record->SearchNodeValue(key.field);
            const bool matches = held != nullptr && CDBSearch::TestValue(held, &key) != 0;
            found += matches ? Read(link->record) : "";
        }
        return found;
    };
    for (int i = 0; i < 900; ++i) {
        const std::string number = std::to_string(i) + ";";
        records.push_back(Add("N=" + number + ",T=" + value() + ",I=" + value().substr(0, 6)));
        if (random() % 3 == 0) {
            std::swap(records[random() % records.size()], records.back());
            table_->ReleaseNode(records.back());
            table_->DeleteNode(records.back());
            records.pop_back();
        }
        const std::string key = (i % 2 != 0 ? "T=" : "I=") + value();
        const DATASTRUCT sought = Values(key)[0];
        // From the middle on, the chains are there and must follow what happens.
        const CDBHash* index = table_->GetIndexes()->GetHash(sought.field);
        EXPECT_EQ(index->GetList() != nullptr, i < 452);
        if (i >= 450) {
            EXPECT_EQ(Find(key), walk(index, sought)) << i;
            CDBSearch search;
            EXPECT_EQ(search.CacheNodesFirst(index, &sought), ENGINE_OK);
            EXPECT_EQ(Rest(&search), walk(index, sought)) << i;
            EXPECT_EQ(CDBSearch::HasMatch(index, &sought, nullptr), search.GetCount() != 0);
        }
    }
    table_->Term();
    EXPECT_EQ(table_->GetContentSize(), 0U);
}

// Values whose hashes are the same, one of them the beginning of another; values that are shorter
// than all their neighbours; and many that are equal.
TEST_F(CDBTableTest, LookUpsTellValuesApart) {
    for (const std::string value : {"cfvt", "hlou", "qxyl", "aauhf"}) {
        Add("N=" + value + ";,T=" + value + '\0');
    }
    for (const std::string value : {"aauhf", "cfvt", "hlou", "qxyl"}) {
        EXPECT_EQ(Find("T=" + value + '\0'), value + ";");
    }
    Add("N=k;,T=kvso"), Add("N=l;,T=kvsoqwp");
    EXPECT_EQ(Find("T=kvso"), "k;") << "and not what is in another bucket";
    EXPECT_EQ(Find("T=kvsoqwp"), "l;");
    for (const char* text : {"U=xa", "U=xb", "U=xc"}) {
        Add(text);
    }
    CDBNode record;
    EXPECT_EQ(Put(&record, "U=x"), ENGINE_DUPLICATE);
    for (int i = 0; i < 1100; ++i) {
        Add("T=same,I=\0\0\0\5"s);
    }
    for (const std::string& key : {"T=same"s, "I=\0\0\0\5"s, "T=same"s}) {
        CDBSearch search;
        EXPECT_EQ(table_->FindNodes(&search, &Values(key)[0]), ENGINE_OK);
        EXPECT_EQ(search.GetCount(), 1100U);
    }
    EXPECT_FALSE(table_->GetValues(Field('T'))->Reserve(UINT32_MAX));
}

// In a record that has room left, and in one that must make way for another. Either way the record
// is the last of all from then on.
TEST_F(CDBTableTest, UpdatesPutARecordBehindAllOthers) {
    std::istringstream rows(
        "N=A C=5 0 BA  T=x C=5 0 BA  I=longer,I=longer C=5 0 BA  I=longer,I=longer C=longvalue 0 "
        "BA "
        "I=1 I=2 0 BA  I=1 I=muchlonger 0 BA  U=1 U=2 0 BA  U=1 U=3 3 AB");
    for (std::string first, change, status, order; rows >> first >> change >> status >> order;) {
        CDBNode* records[] = {Add("N=A,T=x," + first, true), Add("N=B,T=x,U=3")};
        CDBCursor cursor(table_.get());
        std::vector<DATASTRUCT> values = Values(change);
        std::vector<DATASTRUCT*> changes = {&values[0]};
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(table_->UpdateNode(records[0], changes, &cursor), status[0] - '0') << change;
            CDBSearch search;
            EXPECT_EQ(table_->FindNodes(&search, nullptr), ENGINE_OK);
            EXPECT_EQ(Rest(&search) + Find("T=x"), order + order) << first << change;
            search.GetFirstCache();
            records[0] = status == "0" ? search.GetNextCache() : records[0];
            EXPECT_EQ(Read(records[0], change[0]),
                      status == "0" ? change.substr(2) : first.substr(2));
        }
        SetUpTable();
    }
}

TEST_F(CDBTableTest, WhatIsFoundIsAppended) {
    CDBNode* records[] = {Add("N=A,I=b"), Add("N=B,I=a"), Add("N=C")};
    const CDBHash* all = table_->GetIndexes()->GetHash(nullptr);
    CDBSearch search;
    std::vector<CDBNode*> matches = {records[2]};
    EXPECT_EQ(search.CacheMatches(&matches), ENGINE_OK);
    matches = {records[0]};
    EXPECT_EQ(search.CacheMatches(&matches), ENGINE_OK);
    EXPECT_EQ(search.ReleaseFromCache(records[1]), ENGINE_NO_VALUE);
    EXPECT_EQ(search.ReleaseFromCache(records[0]), ENGINE_OK);
    EXPECT_EQ(search.CacheNodesFirst(all, nullptr), ENGINE_OK);
    EXPECT_EQ(search.CacheNodesNext(nullptr), ENGINE_OK);
    EXPECT_EQ(Rest(&search), "CABC");
    EXPECT_EQ(search.CacheNodesNext(&Values("N}B")[0]), ENGINE_OK);
    EXPECT_EQ(Rest(&search), "CBC");
    search.Clear();
    EXPECT_EQ(search.CacheNodesAll(table_->GetIndexes()->GetHash(Field('I'))), ENGINE_OK);
    EXPECT_EQ(Rest(&search), "CBA") << "bucket by bucket";
}

TEST_F(CDBTableTest, WhatIsNotThereIsRefused) {
    CDBNode* record = Add("N=A,T=abc,I=");
    char bytes[4] = "";
    DATASTRUCT nowhere = {nullptr, bytes, 1, 0}, copy = {Field('T'), bytes, 0, 0};
    EXPECT_EQ(table_->GetNodeValue(record, &nowhere), ENGINE_NO_FIELD);
    EXPECT_EQ(table_->PutNodeValue(record, &nowhere, nullptr), ENGINE_NO_FIELD);
    EXPECT_EQ(table_->GetNodeValue(record, &copy), ENGINE_OK);
    EXPECT_EQ(std::string(bytes, copy.length), "abc");
    copy = {Field('C'), nullptr, 7, 0};
    EXPECT_EQ(table_->GetNodeValue(record, &copy), ENGINE_NO_VALUE);
    EXPECT_EQ(copy.length, 7U);
    copy = {Field('I'), nullptr, 7, 0};
    EXPECT_TRUE(table_->GetNodeValue(record, &copy) == ENGINE_OK && copy.length == 0);

    CDBSearch search;
    CDBNode stranger;
    CDBTable empty;
    CDBField other;
    CCString name;
    EXPECT_TRUE(table_->FindNodes(&search, &nowhere) == ENGINE_OK && search.GetCount() == 0);
    EXPECT_EQ(table_->FindNodes(nullptr, nullptr), ENGINE_MEMORY);
    EXPECT_EQ(table_->InsertNode(&stranger), ENGINE_MEMORY) << "made without room for this table";
    EXPECT_EQ(table_->ReleaseNode(&stranger), ENGINE_OK);
    EXPECT_EQ(table_->GetRecordCount(), 0) << "counted although it was not linked in";
    EXPECT_EQ(empty.Init(nullptr), ENGINE_EMPTY_SCHEMA);
    EXPECT_EQ(empty.FindNodes(&search, nullptr), ENGINE_MEMORY);
    EXPECT_EQ(empty.InsertNode(&stranger), ENGINE_MEMORY);
    EXPECT_EQ(empty.PutNodeValue(&stranger, &Values("U=a")[0], nullptr), ENGINE_MEMORY);
    EXPECT_EQ(empty.Term() + empty.GetRecordCount(), 0);
    EXPECT_EQ(table_->GetValues(&other), nullptr) << "not this table's, though its number is";
    EXPECT_EQ(other.SetInfo(name, 200, 0, 0), ENGINE_OK);
    EXPECT_EQ(table_->GetValues(&other), nullptr);
    CDBCursor lost(nullptr);
    EXPECT_TRUE(lost.GetTable() == nullptr && lost.GetCurrent() == nullptr);
}

TEST_F(CDBTableTest, LinksStandInTheirBuckets) {
    CDBHash index(nullptr, 3);
    CDBNode* record = Add("N=A,T=a");
    CDBHashNode a = {record}, b, c, other;
    EXPECT_EQ(index.AddHashNode(record), ENGINE_MEMORY) << "no buckets";
    index.PushHashNode(0, &a);
    EXPECT_EQ(index.GetHeadHashNode(0), nullptr);
    EXPECT_EQ(index.AllocHash(3), ENGINE_OK);
    for (CDBHashNode* link : {&a, &b, &c, decltype(&a)()}) {
        index.PushHashNode(4, link);
    }
    index.PushHashNode(2, &other);
    EXPECT_TRUE(index.GetHeadHashNode(1) == &a && a.next == &b && c.previous == &b);
    EXPECT_TRUE(index.GetHeadHashNode(0) == nullptr && index.GetHeadHashNode(3) == nullptr);
    EXPECT_TRUE(index.SearchHashNode(1, record) == &a &&
                index.SearchHashNode(2, record) == nullptr);
    CDBSearch search;
    EXPECT_EQ(search.CacheNodesAll(&index) + search.CacheNodesFirst(&index, &Values("T=a")[0]), 0);
    EXPECT_EQ(Rest(&search), "AA") << "links without a record are passed";
    index.PopHashNode(4, &b);
    index.PopHashNode(4, nullptr);
    EXPECT_TRUE(a.next == &c && c.previous == &a);
    index.PopHashNode(4, &a);
    index.PopHashNode(4, &c);
    EXPECT_EQ(index.GetHeadHashNode(1), nullptr);
    EXPECT_EQ(index.FreeHash() + index.DeleteAllHashNodes(), ENGINE_OK)
        << "the link is not its own";
    index.PopHashNode(2, &other);

    CDBHashMap* indexes = table_->GetIndexes();
    EXPECT_EQ(indexes->AddHash(Field('U')), ENGINE_OK) << "knows those records that come later";
    CDBNode* later = Add("U=u");
    EXPECT_EQ(indexes->GetHash(Field('U'))->GetHeadHashNode('u')->record, later);
    EXPECT_EQ(indexes->GetHash(Field('U'))->GetHeadHashNode(0), nullptr);
}

TEST(CDBRecordListTest, KeepsItsOrderWhileRecordsComeAndGo) {
    std::minstd_rand random(5);  // the seed
    CDBRecordList list, other;
    CDBNode stranger;
    other.Append(&stranger);
    std::vector<CDBNode*> model;
    for (uint32_t i = 0; i < 3000; ++i) {  // it grows, and then shrinks to few
        const size_t at = random() % (model.size() + 1);
        if (at == model.size() || random() % 100 < (i < 1000 ? 70 : 20)) {
            model.push_back(CDBNode::Create(CDBNodeRoom()));
            EXPECT_EQ(list.Append(model.back()), ENGINE_OK);
        } else if (random() % 3 == 0 && list.Reserve(1) == ENGINE_OK) {
            list.MoveToEnd(model[at]);
            std::rotate(model.begin() + ptrdiff_t(at), model.begin() + ptrdiff_t(at) + 1,
                        model.end());
        } else {
            list.Remove(model[at]);
            EXPECT_FALSE(list.Holds(model[at]));
            delete model[at];
            model.erase(model.begin() + ptrdiff_t(at));
        }
        std::vector<CDBNode*> held;
        CDBRecordList::Walk walk(list);
        uint64_t last = 0;
        while (const CDBRecordList::Entry* entry = walk.NextEntry()) {
            held.push_back(entry->record);
            EXPECT_TRUE(list.Holds(entry->record) && entry->sequence > last);
            last = entry->sequence;
        }
        ASSERT_EQ(held, model) << i;
        ASSERT_EQ(list.GetCount(), model.size());
        EXPECT_FALSE(list.Holds(&stranger));
    }
    EXPECT_EQ(list.Reserve(UINT32_MAX), ENGINE_MEMORY);
    list.DestroyAll();
    EXPECT_EQ(list.GetCount(), 0U);
}
