#include "tools/TableWriter.h"

#include <algorithm>
#include <cstring>

#include "base/BigEndian.h"
#include "persist/CVLFile.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

constexpr uint32_t kNumberSize = 4;
constexpr unsigned char kRecordEnd = 255;

[[noreturn]] void ThrowTooLarge() {
    throw ToolError(EXIT_FILE_TROUBLE, "the file would pass 4 GiB, or memory is short");
}

unsigned char* PutNumber(uint32_t number, unsigned char* to) {
    StoreBigEndian(number, to);
    return to + kNumberSize;
}

unsigned char* PutBytes(const void* from, size_t count, unsigned char* to) {
    if (count != 0) {
        std::memcpy(to, from, count);
    }
    return to + count;
}

}  // namespace

void TableWriter::AddField(std::string name, uint32_t type) {
    if (fields_.size() == kMostFieldsInFile) {
        throw ToolError(EXIT_WRONG_USE, "more than 255 fields: no reader accepts such a file");
    }
    FieldSpec field;
    field.name = std::move(name);
    field.type = type;
    field.number = static_cast<uint8_t>(fields_.size());
    fields_.push_back(std::move(field));
}

// Room in large steps: the buffer's own are for small ones. The checksum is to fit in, too.
unsigned char* TableWriter::Extend(uint64_t count) {
    constexpr uint64_t kStep = 1 << 20;
    const uint64_t length = buffer_.GetLength() + count;
    const uint64_t most = uint64_t{UINT32_MAX} - kNumberSize - 1;
    if (length >= most) {
        ThrowTooLarge();
    }
    if (length >= buffer_.GetCapacity()) {
        const uint64_t room = std::min(length + length / 4 + kStep, most - 1);
        if (buffer_.AllocBuffer(static_cast<uint32_t>(room)) == nullptr) {
            ThrowTooLarge();
        }
    }
    return buffer_.Extend(static_cast<uint32_t>(count));
}

void TableWriter::AddValue(size_t field, std::string_view bytes) {
    unsigned char* to = Extend(uint64_t{1} + kNumberSize + bytes.size());
    *to++ = static_cast<unsigned char>(field);
    to = PutNumber(static_cast<uint32_t>(bytes.size()), to);
    PutBytes(bytes.data(), bytes.size(), to);
}

void TableWriter::EndRecord() {
    *Extend(1) = kRecordEnd;
    if (++records_ == INT32_MAX) {
        ThrowTooLarge();
    }
}

uint64_t TableWriter::MeasureFields() const {
    uint64_t size = uint64_t{2} * kNumberSize;
    for (const FieldSpec& field : fields_) {
        size += uint64_t{2} * kNumberSize + 1 + field.name.size() + 1;
    }
    return size;
}

unsigned char* TableWriter::WriteFields(unsigned char* to) const {
    to = PutNumber(static_cast<uint32_t>(fields_.size()), to);
    for (const FieldSpec& field : fields_) {
        to = PutNumber(field.type, to);
        *to++ = field.number;
        to = PutNumber(static_cast<uint32_t>(field.name.size()) + 1, to);
        to = PutBytes(field.name.c_str(), field.name.size() + 1, to);
    }
    return to;
}

void TableWriter::Finish() {
    const size_t length = buffer_.GetLength();
    const uint64_t head = MeasureFields();
    Extend(head);
    unsigned char* data = buffer_.GetData();
    std::memmove(data + head, data, length);
    PutNumber(records_, WriteFields(data));
    try {
        buffer_.Seal(CVLFile::kKey);
    } catch (int) {
        ThrowTooLarge();
    }
}

}  // namespace tool
