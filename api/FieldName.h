#ifndef VAMEL_API_FIELDNAME_H
#define VAMEL_API_FIELDNAME_H

#include <cstdint>

#include "base/CCString.h"
#include "store/CDBFieldArray.h"

// A field's name as a call was given it, in UTF-8. A name that is short, as names are, takes no
// memory.
class FieldName {
  public:
    explicit FieldName(const CFStringRef* name);
    FieldName(const FieldName&) = delete;
    FieldName& operator=(const FieldName&) = delete;

    // VAMEL_OK or VAMEL_ERR_MEMORY.
    int32_t GetResult() const { return result_; }

    // The field of that name, or null.
    CDBField* FindIn(const CDBFieldArray* fields) const { return fields->SearchField(text_); }

  private:
    static constexpr CFIndex kShort = 128;

    int32_t result_ = VAMEL_OK;
    const char* text_ = short_;
    char short_[kShort];
    CCString long_;
};

#endif
