#include "base/CCString.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// The length of a text, or -1 where 32 bits do not hold it and its terminator.
int32_t TextLength(const char* text) {
    const size_t n = std::strlen(text);
    return n < INT32_MAX ? static_cast<int32_t>(n) : -1;
}

// A source text that may lie in the block that is about to move.
class Source {
  public:
    Source(const char* text, const char* block, int32_t capacity) : text_(text) {
        const auto at = reinterpret_cast<uintptr_t>(text);
        const auto from = reinterpret_cast<uintptr_t>(block);
        inside_ = block != nullptr && at >= from && at < from + static_cast<uint32_t>(capacity);
        offset_ = inside_ ? at - from : 0;
    }
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): what is not inside was not freed
    const char* In(const char* block) const { return inside_ ? block + offset_ : text_; }

  private:
    const char* text_;
    bool inside_;
    size_t offset_;
};

void Move(char* to, const char* from, int32_t count) {
    if (count > 0) {
        std::memmove(to, from, static_cast<size_t>(count));
    }
}

}  // namespace

CCString::CCString(int32_t size) {
    AllocBuffer(size);
}

CCString::~CCString() {
    ClearString();
}

void CCString::ClearString() {
    std::free(buffer_);
    buffer_ = nullptr;
    capacity_ = 0;
    length_ = 0;
}

char* CCString::AllocBuffer(int32_t size) {
    if (size <= 0) {
        ClearString();
        return nullptr;
    }
    if (size < capacity_) {
        return buffer_;
    }
    auto* block = static_cast<char*>(std::realloc(buffer_, static_cast<size_t>(size)));
    if (block == nullptr) {
        return nullptr;
    }
    block[size - 1] = '\0';
    if (buffer_ == nullptr) {
        block[0] = '\0';
    }
    buffer_ = block;
    capacity_ = size;
    return buffer_;
}

int32_t CCString::CopyString(const char* text, int32_t count) {
    if (text == nullptr) {
        return 0;
    }
    if (count == -1) {
        count = TextLength(text);
        if (count < 0) {
            return -1;
        }
    }
    if (count == INT32_MAX) {
        return -1;
    }
    const Source source(text, buffer_, capacity_);
    if (AllocBuffer(count + 1) == nullptr) {
        return -1;
    }
    Move(buffer_, source.In(buffer_), count);
    buffer_[count] = '\0';
    length_ = count;
    return count;
}

// An unconverted string must read as empty, whatever its block held.
int32_t CCString::FailConversion() {
    length_ = 0;
    if (buffer_ != nullptr) {
        buffer_[0] = '\0';
    }
    return 0;
}

int32_t CCString::FailStorage() {
    FailConversion();
    return -1;
}

int32_t CCString::CopyString(const CFStringRef* text) {
    if (text == nullptr || *text == nullptr) {
        return FailConversion();
    }
    CFRange all;
    all.location = 0;
    all.length = CFStringGetLength(*text);
    CFIndex used = 0;
    CFStringGetBytes(*text, all, kCFStringEncodingUTF8, 0, 0, nullptr, 0, &used);
    if (used < 0 || used >= INT32_MAX || AllocBuffer(static_cast<int32_t>(used) + 1) == nullptr) {
        return FailConversion();
    }
    if (!CFStringGetCString(*text, buffer_, used + 1, kCFStringEncodingUTF8)) {
        return FailConversion();
    }
    const int32_t length = CopyString(buffer_, -1);
    return length != -1 ? length : FailStorage();
}

int32_t CCString::CatString(const char* text) {
    const int32_t n = text != nullptr ? TextLength(text) : 0;
    if (n < 0 || n >= INT32_MAX - length_) {
        return -1;
    }
    const Source source(text, buffer_, capacity_);
    if (AllocBuffer(length_ + n + 1) == nullptr) {
        return -1;
    }
    Move(buffer_ + length_, source.In(buffer_), n);
    length_ += n;
    buffer_[length_] = '\0';
    return length_;
}

int32_t CCString::Replace(const char* text, int32_t position) {
    const int32_t n = text != nullptr ? TextLength(text) : 0;
    if (position < 0 || position > length_ || n < 0 || n >= INT32_MAX - position) {
        return -1;
    }
    const bool grows = n > length_ - position;
    const Source source(text, buffer_, capacity_);
    if (grows && AllocBuffer(position + n + 1) == nullptr) {
        return -1;
    }
    if (n > 0) {
        Move(buffer_ + position, source.In(buffer_), n);
    }
    if (grows) {
        buffer_[position + n] = '\0';
    }
    length_ = static_cast<int32_t>(std::strlen(GetText()));
    return length_;
}

int32_t CCString::GetCFStringRef(CFStringRef* out) const {
    *out = CFStringCreateWithCString(kCFAllocatorDefault, GetText(), kCFStringEncodingUTF8);
    return *out != nullptr ? length_ : -1;
}

int32_t CCString::Count(char c) const {
    return static_cast<int32_t>(std::count(GetText(), GetText() + length_, c));
}

int32_t CCString::Search(char c, int32_t start) const {
    if (buffer_ == nullptr) {
        return length_;
    }
    if (start < -1 || start > length_) {
        return start;
    }
    const char* found = std::find(buffer_ + std::max(start, 0), buffer_ + length_, c);
    return static_cast<int32_t>(found - buffer_);
}

int32_t CCString::SearchReverse(char c, int32_t start) const {
    if (buffer_ == nullptr) {
        return length_;
    }
    if (start < -1 || start >= length_) {
        return start;
    }
    int32_t i = start == -1 ? length_ - 1 : start;
    while (i >= 0 && buffer_[i] != c) {
        --i;
    }
    return i;
}

int32_t CCString::Search(const char* text) const {
    const char* found = text != nullptr ? std::strstr(GetText(), text) : nullptr;
    return found != nullptr ? static_cast<int32_t>(found - GetText()) : -1;
}

int32_t CCString::Replace(char from, char to, int32_t start) {
    const int32_t i = Search(from, start);
    if (i < 0 || i >= length_) {
        return -1;
    }
    buffer_[i] = to;
    return i;
}

int32_t CCString::ReplaceReverse(char from, char to, int32_t start) {
    const int32_t i = SearchReverse(from, start);
    if (i < 0 || i >= length_) {
        return -1;
    }
    buffer_[i] = to;
    return i;
}

int32_t CCString::TrimMid(int32_t first, int32_t last) {
    if (buffer_ == nullptr) {
        return length_;
    }
    if (first < 0 || last >= length_ || first > last) {
        return 0;
    }
    const int32_t tail = length_ - last - 1;
    Move(buffer_ + first, buffer_ + last + 1, tail);
    std::memset(buffer_ + first + tail, 0, static_cast<size_t>(length_ - first - tail));
    length_ = static_cast<int32_t>(std::strlen(buffer_));
    return length_;
}

int32_t CCString::TrimRight(char c) {
    if (length_ > 0 && buffer_[length_ - 1] == c) {
        buffer_[--length_] = '\0';
    }
    return length_;
}

int32_t CCString::StringLower() {
    for (int32_t i = 0; i < length_ && buffer_[i] != '\0'; ++i) {
        if (buffer_[i] >= 'A' && buffer_[i] <= 'Z') {
            buffer_[i] = static_cast<char>(buffer_[i] + 0x20);
        }
    }
    return length_;
}

bool CCString::operator==(const char* text) const {
    return std::strcmp(GetText(), text != nullptr ? text : "") == 0;
}

int32_t CCString::CompareString(const char* text, int32_t count) const {
    const char* other = text != nullptr ? text : "";
    const int64_t longer = std::max<int64_t>(length_, static_cast<int64_t>(std::strlen(other)));
    return longer < count ? -1 : std::strncmp(GetText(), other, static_cast<size_t>(count));
}

int32_t CCString::CompareString(const CCString& other, int32_t count) const {
    const int32_t longer = std::max(length_, other.length_);
    return longer < count ? -1
                          : std::strncmp(GetText(), other.GetText(), static_cast<size_t>(count));
}

char& CCString::operator[](int32_t index) {
    if (buffer_ == nullptr) {
        static thread_local char terminator;
        terminator = '\0';
        return terminator;
    }
    return buffer_[index >= 0 && index <= length_ ? index : length_];
}

int32_t get_CCString(CCString& out, const CFStringRef* in) {
    return out.CopyString(in) == -1 ? VAMEL_ERR_MEMORY : VAMEL_OK;
}

int32_t ConvertString(CCString& out, const CFStringRef* in) {
    out.ClearString();
    const int32_t result = get_CCString(out, in);
    return out.HasBlock() ? result : VAMEL_ERR_MEMORY;
}

int32_t get_vamel_string(CFStringRef* out, const CCString& in) {
    return in.GetCFStringRef(out) == -1 ? VAMEL_ERR_MEMORY : VAMEL_OK;
}
