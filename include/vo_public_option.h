// Public options: one record of settings that a process publishes in a section, and that every tool reads. The library
// is the reading side; docs/public-options.md has the layout and a writer's duties.
#pragma once

#include "vo_types.h"

// The name of the section, and the version that its record begins with.
inline constexpr const VOWCHAR* kVOPublicOptionSection = VOTEXT("fileMappingPublicOptionName");
inline constexpr char kszVOPublicOptionVersion[12] = "version.0.4";

// The content of the section: little-endian, texts with a terminating zero within their size. What the texts
// and numbers mean is a matter between the one who writes them and the tools that read them.
struct VOPublicOptionRecord
{
    char szVersion[12];
    char szOptionKey[100];  // the key that a reader can demand
    char szOptionText1[260];
    char szOptionText2[260];
    char szOptionText3[260];
    int nOptionValue1;
    int nOptionValue2;
    char szOptionText4[260];
    char szOptionText5[260];
    char szOptionText6[100];
    long long nOptionValue3;
    long long nOptionValue4;
};
static_assert(sizeof(VOPublicOptionRecord) == 1536);
static_assert(offsetof(VOPublicOptionRecord, szVersion) == 0 && offsetof(VOPublicOptionRecord, szOptionKey) == 12);
static_assert(offsetof(VOPublicOptionRecord, szOptionText1) == 112);
static_assert(offsetof(VOPublicOptionRecord, szOptionText2) == 372);
static_assert(offsetof(VOPublicOptionRecord, szOptionText3) == 632);
static_assert(offsetof(VOPublicOptionRecord, nOptionValue1) == 892);
static_assert(offsetof(VOPublicOptionRecord, nOptionValue2) == 896);
static_assert(offsetof(VOPublicOptionRecord, szOptionText4) == 900);
static_assert(offsetof(VOPublicOptionRecord, szOptionText5) == 1160);
static_assert(offsetof(VOPublicOptionRecord, szOptionText6) == 1420);
static_assert(offsetof(VOPublicOptionRecord, nOptionValue3) == 1520);
static_assert(offsetof(VOPublicOptionRecord, nOptionValue4) == 1528);

// The options as a tool reads them. Nothing here is guarded: one thread calls, or the host keeps its threads
// apart, Sync above all. Only Sync looks at the section; all else answers from the copy that the object holds,
// and allocates nothing.
class VOBASE_API IVOPublicOption
{
public:
    virtual ~IVOPublicOption();

    // Takes the published record in place of the one held, all of it or nothing, the key included. No section
    // is normal, and silent. A log line, and the record as it was, for a section that can't be mapped, whose
    // version is another one, whose key isn't the one demanded (compared byte by byte), or that is too short. A
    // record that its writer is changing may come as a mixture; a text without a terminator ends with its
    // field.
    virtual void Sync() = 0;

    // Demands this key from now on; the empty key, and null, take any section, and the object's key then is the
    // published one. The record isn't looked at again before the next Sync. Always 1.
    //
    // Kept (IVOPublicOption::SetOptionKey): a key of 100 characters or more goes to the runtime's bounded copy:
    // on Windows the process ends unless its host has a handler for invalid parameters; where it goes on, and
    // on Linux, the key is the empty text. Hosts with such a handler see it called.
    virtual int SetOptionKey(const char* pszKey) = 0;

    // The texts stay valid while the object lives, and change at a Sync; empty and 0 stand for what was never
    // read.
    virtual const char* GetOptionKey() = 0;
    virtual const char* GetOptionText1() = 0;
    virtual const char* GetOptionText2() = 0;
    virtual const char* GetOptionText3() = 0;
    virtual int GetOptionValue1() = 0;
    virtual int GetOptionValue2() = 0;
    virtual const char* GetOptionText4() = 0;
    virtual const char* GetOptionText5() = 0;
    virtual const char* GetOptionText6() = 0;
    virtual long long GetOptionValue3() = 0;
    virtual long long GetOptionValue4() = 0;
};

// The object behind GetPublicOption; a host may make further ones, each with its own key and its own copy.
class VOBASE_API VOPublicOption : public IVOPublicOption
{
public:
    // All empty and 0; the section isn't looked at.
    VOPublicOption();
    ~VOPublicOption() override;

    void Sync() override;
    int SetOptionKey(const char* pszKey) override;
    const char* GetOptionKey() override;
    const char* GetOptionText1() override;
    const char* GetOptionText2() override;
    const char* GetOptionText3() override;
    int GetOptionValue1() override;
    int GetOptionValue2() override;
    const char* GetOptionText4() override;
    const char* GetOptionText5() override;
    const char* GetOptionText6() override;
    long long GetOptionValue3() override;
    long long GetOptionValue4() override;

protected:
    // The last record that was taken, its texts terminated, with the key that SetOptionKey has set since.
    VOPublicOptionRecord m_kOption;
};
static_assert(sizeof(VOPublicOption) == sizeof(void*) + sizeof(VOPublicOptionRecord));

// The one object of the process, which lives until its end; callers never free it. Racing first calls are safe
// and all see the same. Throws std::bad_alloc from the first call when there is no memory for it.
//
// Kept (GetPublicOption): only the first call looks at the section. Tools keep the values that they started
// with until they call Sync, at a moment that suits them.
VOBASE_API IVOPublicOption* GetPublicOption();
