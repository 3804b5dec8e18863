// Public options: one record of settings that a process publishes in a section, and that every tool reads. The library
// is the reading side; docs/public-options.md has the layout and a writer's duties.
#pragma once

#include "vo_types.h"

// The name of the section, and the version that its record begins with.
inline constexpr const VOWCHAR* kVOPublicOptionSection = VOTEXT("fileMappingPublicOptionName");
inline constexpr char kszVOPublicOptionVersion[12] = "version.0.4";

// The content of the section: little-endian, texts with a terminating zero within their size.
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

class VOBASE_API IVOPublicOption
{
public:
    virtual ~IVOPublicOption();

    // Takes the published record in place of the one held, all of it or nothing. No section is normal, and silent. A
    // log line for a section that can't be mapped, whose version is another one, or whose key isn't the one demanded.
    virtual void Sync() = 0;

    // Demands this key from now on; the empty key takes any section, and the object's key then is the published one.
    // Always 1. A key of 100 characters or more is refused as the runtime's bounded copy does (see z_mdl_file.h).
    virtual int SetOptionKey(const char* pszKey) = 0;

    // The texts stay valid while the object lives, and change at a Sync.
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

class VOBASE_API VOPublicOption : public IVOPublicOption
{
public:
    VOPublicOption();  // all empty and 0
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
    VOPublicOptionRecord m_kOption;
};
static_assert(sizeof(VOPublicOption) == sizeof(void*) + sizeof(VOPublicOptionRecord));

// The one object of the process, which lives until its end; callers never free it. Only the first call looks at the
// section: a host calls Sync when it wants fresh values, at quiet moments, since nothing guards the object.
VOBASE_API IVOPublicOption* GetPublicOption();
