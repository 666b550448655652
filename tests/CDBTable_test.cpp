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
    CDBTableTest() {
        CDBFieldArray fields;
        for (const std::string field : {"N71", "I11", "T21", "U22", "C33"}) {
            Create(&fields, field.substr(0, 1), field[1] - '0', field[2] - '0');
        }
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
    CDBNode* Add(const std::string& text) {
        CDBNode* record = nullptr;
        EXPECT_EQ(table_->CreateNode(&record), ENGINE_OK);
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
    std::unique_ptr<CDBTable> table_ = std::make_unique<CDBTable>();
    std::deque<std::vector<char>> kept_;  // blocks that end where their bytes do
};

TEST(CDBFieldArrayTest, HoldsUpTo256DifferentNames) {
    CDBFieldArray fields, copy;
    for (int32_t i = 0; i < 256; ++i) {
        EXPECT_EQ(Create(&fields, (i == 0 ? "F" : "f") + std::to_string(100 + i), i, -i), 0) << i;
    }
    EXPECT_EQ(copy.CloneFieldArray(&fields) + copy.CloneFieldArray(&fields), 0) << "in its place";
    EXPECT_EQ(Create(&fields, "f356", 1, 0), ENGINE_TOO_MANY_FIELDS);
    EXPECT_EQ(Create(&fields, "f101", 9, 9), ENGINE_NAME_TAKEN);
    const CDBField* f = copy.SearchField(fields.GetField(255)->GetName());
    EXPECT_TRUE(f == copy.GetField(255) && f->GetIndex() == 255);
    EXPECT_TRUE(f->GetType() == 255 && f->GetFlags() == -255 && copy.GetSize() == 256);
    EXPECT_EQ(copy.CloneFieldArray(nullptr), ENGINE_OK);
    EXPECT_EQ(CDBTable().Init(&copy), ENGINE_EMPTY_SCHEMA);
}

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

TEST_F(CDBTableTest, KeysSeedTheResultSetAndThenNarrowIt) {
    for (const char* text : {"N=A,T=abc,U=5", "N=B,T=abcd", "N=C,T=", "N=D", "N=E,T=b,U=6"}) {
        Add(text);
    }
    std::istringstream rows(
        "T=abc A  T<abc C  T>abc E  T{abc ABC  T}abc ABE  T?abc AB  T= -  T{ C  T}abc,U=5 AB "
        "U=5,T}abc A  T=zz,U=6 E  T>abc,U=5,T?abc AB");
    for (std::string keys, names; rows >> keys >> names;) {
        EXPECT_EQ(Find(keys), names == "-" ? "" : names) << keys;
    }
    EXPECT_EQ(table_->GetIndexes()->GetHash(Field('C'))->GetBucketCount(), 1987U);
    EXPECT_EQ(table_->GetIndexes()->GetHash(Field('N'))->GetBucketCount(), 1U);
}

TEST_F(CDBTableTest, CursorsAndIndexesLetGoOfRemovedRecords) {
    std::istringstream rows(
        "own 0 B -AC  own 1 A -BC  own 2 B AC  own 3 C B  other 0 B -AC  other 1 A -BC "
        "other 1 BC A  other 2 BA -C  other 2 A B  other 3 B C  other 4 B -");
    CDBCursor idle(table_.get());
    for (std::string by, steps, names, left; rows >> by >> steps >> names >> left;) {
        CDBNode* const records[] = {Add("N=A"), Add("N=B"), Add("N=C")};
        CDBCursor cursor(table_.get());
        cursor.ExchangeSearch(std::make_unique<CDBSearch>());
        CDBSearch* search = cursor.GetSearch();
        EXPECT_EQ(table_->FindNodes(search, nullptr), ENGINE_OK);
        for (char i = '0'; i < steps[0]; ++i) {
            cursor.SetCurrent(search->GetNextCache());
        }
        std::string all = "ABCD";
        for (const char name : names) {
            CDBNode* record = records[name - 'A'];
            if (by == "own") {
                cursor.ReleaseFromCache(record);
                EXPECT_EQ(search->ReleaseFromCache(record), ENGINE_NO_VALUE);
            }
            table_->ReleaseNode(record, by == "own" ? &cursor : nullptr);
            CDBTable::DeleteNode(record);
            all.erase(all.find(name), 1);
        }
        EXPECT_EQ(Read(cursor.GetCurrent()) + Rest(search), left) << by << steps << names;
        Add("N=D");
        EXPECT_EQ(Find("N>"), all) << names;
        EXPECT_EQ(table_->Term(), ENGINE_OK);
        EXPECT_EQ(Read(cursor.GetCurrent()) + Read(search->GetFirstCache()), "--");
    }
    idle.SetCurrent(Add("N=A"));
    table_.reset();
    EXPECT_TRUE(idle.GetTable() == nullptr && idle.GetCurrent() == nullptr);
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
        }
    }
    table_->Term();
    EXPECT_EQ(table_->GetContentSize(), 0U);
}

TEST_F(CDBTableTest, UniqueValuesMatchNoOtherRecord) {
    std::map<char, CDBNode*> old = {{'a', Add("U=abc,C=abc")}, {'b', Add("U=abd,C=ab")}};
    Add("U=,C=");
    std::istringstream rows(
        "U=abc - 3  U=ab - 3  U=abcd - 3  U=ac - 0  U= - 0  U=abcd a 0  U=ab a 3  U=abd b 0 "
        "U>abd - 0  U>abc - 3  U>abc b 0  U<a - 3  U?abc - 3  C=abc - 3  C=abc a 0  C=abcd - 0 "
        "C=axy - 0  C<axy - 3  C= - 0  T=abc - 0");
    for (std::string text, replaced, status; rows >> text >> replaced >> status;) {
        CDBNode record;
        EXPECT_EQ(Put(&record, text, old[replaced[0]]), status[0] - '0') << text << " " << replaced;
        EXPECT_EQ(Read(&record, text[0]), status == "0" ? text.substr(2) : "-");
    }
}

TEST_F(CDBTableTest, TermLeavesTheSchemaAndTheListOfAllRecords) {
    CDBNode stranger;
    EXPECT_EQ(table_->ReleaseNode(&stranger), ENGINE_OK);
    EXPECT_EQ(table_->GetRecordCount(), -1) << "counted although it was not linked in";
    EXPECT_EQ(table_->Term(), ENGINE_OK);
    Add("N=A,T=abc,C=abc");
    Add("N=B,T=ab");
    EXPECT_EQ(table_->GetRecordCount(), 2);
    EXPECT_EQ(Find("T=abc"), "AB");
    EXPECT_EQ(Put(&stranger, "C=ab"), ENGINE_DUPLICATE);
}
