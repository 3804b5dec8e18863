// VOStringHashSet: maps a wide string to a handle and back, and can be published as an image.
//
// A string is never compared with anything: its identity is the pair of its two 32-bit hashes. One class has
// two faces, chosen at construction. A Provider is a mutable set on sorted maps; a Customer is a read-only view
// of an image that looks strings up in flat tables inside it. A handle is the index of a string's record, the
// same number in both roles and in every process, never reused until CleanUp. Strings aren't removed but
// marked: the record, its map entry and its text stay.
//
// The image of a set (docs/wire-formats.md):
//
//   { head, record vector, string pool, primary table, conflict table, tail }
//
// No lock. A Customer may be searched by any number of threads while nobody replaces its image. What a role
// doesn't have gives INVALID_HANDLE_VALUE or 0, without a log line. Whatever enters, copies or makes an image
// throws std::bad_alloc when there is no memory.
#pragma once

#include "internal/vo_map_table.h"
#include "internal/vo_ordered_index.h"
#include "internal/vo_write_journal.h"
#include "vo_buffer_container.h"
#include "vo_string_hash.h"
#include "vo_types.h"

// The string store under an asset container and a file event container. It folds no case and no separators: "A"
// and "a" are two strings.
//
// Kept (VOStringHashSet::Find): each value of the first hash has room for two strings. A third one with the
// same first hash, and a second hash that differs from the first string's, is taken for the second one, in both
// roles alike. Publishers and readers agree on every handle by that, and images that exist hold such answers.
class VOBASE_API VOStringHashSet
{
public:
    // Writer or reader.
    enum StringHashRole : int
    {
        SHR_Provider = 0,
        SHR_Customer = 1
    };

    // What Insert keeps. The containers of this library keep the text.
    enum StringHashMode : int
    {
        SHM_HashOnly = 0,      // Insert keeps no text
        SHM_HashAndString = 1  // Insert keeps the text in the pool
    };

    // States of a record, tested by bits: 2 means removed, 4 that GetString may answer.
    static constexpr VOULONG kStateKeyOnly = 0;
    static constexpr VOULONG kStateRemoved = 2;
    static constexpr VOULONG kStateText = 4;

    // One record per distinct string; part of the image.
    struct StringHashParam
    {
        void* hString = INVALID_HANDLE_VALUE;  // the text in the pool, or INVALID_HANDLE_VALUE
        VOULONG dwState = kStateKeyOnly;
        VOULONG dwHashMask = 0;  // 1: primary map, 3: primary and conflict map
        unsigned int uHash0 = 0;
        unsigned int uHash1 = 0;
    };

    // The head of an image, and where its four parts begin, without alignment.
#pragma pack(push, 1)
    struct StringHashSetAlloc
    {
        char szVersion[8];  // "ver.1.1"
        unsigned int uParamBufSize;
        unsigned int uStringAllocBufSize;
        unsigned int uMapTableBufSize;
        unsigned int uConflictMapTableBufSize;
        unsigned int uDataBufSize;  // the sum of the four; the image has 32 bytes more
        unsigned char abData[4];    // the four parts begin here
    };
#pragma pack(pop)

    typedef VOMapTable<unsigned int, void*> HashTable;

    // The cursor of GetFirst and HasNext: hString is for the caller to read, the rest is the walk's. It belongs
    // to one set and one role. A Provider's walk sees strings that are inserted ahead of it; CleanUp and
    // SetAlloc end a walk.
    struct Iterator
    {
        void* hString = INVALID_HANDLE_VALUE;  // the current entry
        VOHashIndex::Position kPosition;       // Provider
        HashTable::Iterator kSlot;             // Customer
        unsigned int uStage = 0;               // 1 in the primary structure, 2 in the conflict structure
    };

    // An empty set; a Customer answers from its first SetAlloc on.
    explicit VOStringHashSet(StringHashRole eRole = SHR_Provider, StringHashMode eMode = SHM_HashAndString);

    // Releases what the set owns; the image of a view stays.
    ~VOStringHashSet();

    // A copy has records, maps and a pool of its own, and the same handles; the copy of a view is a view of the
    // same image.
    VOStringHashSet(const VOStringHashSet& rkOther);
    VOStringHashSet& operator=(const VOStringHashSet& rkOther);

    // Provider only. The handle of a string, entered if it isn't there. InsertKey enters a string without its
    // text. Insert gives a key its text, revives a removed string with the text that it had, and keeps the
    // handle in both cases; InsertKey revives it as a key. INVALID_HANDLE_VALUE on a Customer, for an empty
    // pointer (with a log line), and for a key whose text finds no room in the pool. A new string whose text
    // finds none is entered all the same, and GetString has nothing for it.
    //
    // Kept (VOStringHashSet::Insert): *pbExist becomes 1 if the string was there in the wanted state (for
    // InsertKey: if it was there and not removed), and is otherwise left alone. Callers set it to 0 beforehand.
    void* Insert(const VOWCHAR* pszString, int* pbExist = nullptr);
    void* InsertKey(const VOWCHAR* pszString, int* pbExist = nullptr);

    // The handle of a string, INVALID_HANDLE_VALUE if it is unknown or removed; keys are found. An empty
    // pointer is logged. Allocates nothing.
    void* Find(const VOWCHAR* pszString) const;

    // The text of a handle, at any alignment, valid until the pool grows or is released; an empty pointer if
    // the string is removed, key only or unknown. Of a handle the low 32 bits count.
    const VOWCHAR* GetString(void* hString) const;

    // Provider only. Marks a string as removed: 1, also when it was already; 0 for what is no handle. Nobody
    // counts users: it is removed for all of them. On a Provider that views an image this writes into the
    // image.
    //
    // Kept (VOStringHashSet::Remove): record, map entry and text stay, so that Count doesn't fall and an image
    // carries removed strings along. A string that comes back gets its old handle, which records of readers
    // still name.
    int Remove(void* hString);

    // Forgets everything; the next string of a Provider gets handle 0. Always 1.
    //
    // Kept (VOStringHashSet::CleanUp): a Customer forgets its tables only. Find misses and Count is 0, but
    // GetString goes on answering from what was loaded: whoever still holds handles can show their texts until
    // DropViews or the next image.
    int CleanUp();

    // Lets go of an image that GetString is still answered from after CleanUp of a Customer; memory of its own
    // stays.
    void DropViews();

    // Walk all records, removed and key-only ones too, primary ones first: a Provider in ascending order of the
    // first hash, a Customer in slot order. 1 with a current entry, 0 at the end. A Provider may have to put
    // its strings in order for that, and then throws std::bad_alloc when there is no memory.
    int GetFirst(Iterator& rkIterator) const;
    int HasNext(Iterator& rkIterator) const;

    // Strings known, removed and key-only ones too.
    unsigned int Count() const;

    // Provider only: cuts the records and the pool to what is in use. 1.
    int ShrinkToFit();

    // A new image, owned by the caller; an empty pointer when it would have more than 4 GiB. The set stays as
    // it is.
    //
    // Kept (VOStringHashSet::GetAlloc): in the image of a Customer the count of each table is its number of
    // slots, not of strings. Readers of such an image see that in Count and nowhere else.
    StringHashSetAlloc* GetAlloc() const;

    // Takes an image in place of the contents, copied with bCopy, otherwise as a view that it must outlive: 1.
    // A Provider rebuilds its maps and goes on inserting; as a view it writes the states of removed and revived
    // strings into the image. Nothing is logged. An empty pointer, a wrong version or total give 0 with the set
    // untouched; a later failure gives 0 and leaves it cleaned and partly filled, so that the caller calls
    // CleanUp. ullLimit is how many bytes the image may reach; without it the caller vouches for the sizes in
    // the head.
    int SetAlloc(StringHashSetAlloc* pAlloc, int bCopy);
    int SetAlloc(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    // The image's size in bytes (more than kVOMaxImageSize when there can be none), and the image written to
    // zeroed memory of that size; 0 when a table can't be made.
    unsigned long long AllocSize() const;
    int WriteAlloc(unsigned char* pbTo) const;

protected:
    // The two forms of each operation, for Provider and Customer; the public ones choose by the role.
    void* _Insert_P(const VOWCHAR* pszString, int* pbExist);
    void* _InsertKey_P(const VOWCHAR* pszString, int* pbExist);
    void* _Find_P(const VOWCHAR* pszString) const;
    unsigned int _Count_P() const;
    int _ShrinkToFit_P();
    int _Remove_P(void* hString);
    int _CleanUp_P();
    int _GetFirst_P(Iterator& rkIterator) const;
    int _HasNext_P(Iterator& rkIterator) const;
    int _SetAlloc_P(StringHashSetAlloc* pAlloc, int bCopy);
    int _SetAlloc_P(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    void* _Find_C(const VOWCHAR* pszString) const;
    unsigned int _Count_C() const;
    int _CleanUp_C();
    int _GetFirst_C(Iterator& rkIterator) const;
    int _HasNext_C(Iterator& rkIterator) const;
    int _SetAlloc_C(StringHashSetAlloc* pAlloc, int bCopy);
    int _SetAlloc_C(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    // The lookup of a string, without a look at its state: 1 and hString when it is known. Both hashes are set
    // in any case; an empty pointer is logged, and looked up as two zero hashes.
    //
    // Kept (VOStringHashSet::_FindHashString_P): dwHashMask is ORed into, so that the caller clears it first,
    // and uHash2 is a slot of the signature that isn't used. Derived classes call it in this form.
    int _FindHashString_P(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1, unsigned int& uHash2,
                          VOULONG& dwHashMask, void*& hString) const;
    int _FindHashString_C(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1, unsigned int& uHash2,
                          VOULONG& dwHashMask, void*& hString) const;

    // Appends a record in the state key-only and gives its handle; uHash2 isn't stored. The maps are the
    // caller's.
    void* _AddHashStringParam_P(void* hString, VOULONG dwHashMask, unsigned int uHash0, unsigned int uHash1,
                                unsigned int uHash2);

    // Writes the fields into *pkParam: 1, or 0 without one.
    int _ResetHashStringParam(void* hString, VOULONG dwHashMask, VOULONG dwState, unsigned int uHash0,
                              unsigned int uHash1, unsigned int uHash2, StringHashParam* pkParam);

    // Takes the operations of a role; with another value those of before stay. Always 1.
    int _SetRole(StringHashRole eRole);

private:
    friend class VOTSAssetNodeContainer;
    friend class VOAssetBaseWriter;
    friend struct VOAssetLookup;
    friend class VOAssetBatch;

    struct Lookup
    {
        unsigned int uHash0 = 0;
        unsigned int uHash1 = 0;
        VOULONG dwHashMask = 0;
        void* hString = INVALID_HANDLE_VALUE;
        bool bFound = false;

        int Give(unsigned int& uGivenHash0, unsigned int& uGivenHash1, VOULONG& dwGivenHashMask,
                 void*& hGivenString) const
        {
            uGivenHash0 = uHash0;
            uGivenHash1 = uHash1;
            dwGivenHashMask |= dwHashMask;
            hGivenString = bFound ? hString : hGivenString;
            return bFound;
        }
    };

    Lookup _Lookup_P(const VOWCHAR* pszString) const;

    // A Customer's lookup, and its two halves: first the string that the first hash names, then whether it is that
    // string or the other one. Between them a caller may have fetched what it keeps for the first one.
    Lookup _Lookup_C(const VOWCHAR* pszString) const;
    Lookup _Candidate_C(const VOWCHAR* pszString) const;
    const Lookup& _Confirm_C(Lookup& lookup) const;
    void* _LiveHandle(const Lookup& rkLookup) const;
    void* _AddString_P(const Lookup& rkLookup, void* hText, VOULONG dwState);
    bool _IsRecord(void* hString) const;
    void _Rewrite(void* hString, const StringHashParam& param);
    bool _IsLastFound(const VOWCHAR* pszString) const;
    const VOMapTableAlloc* _SetRecordsAndPool(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit,
                                              StringHashSetAlloc& rkHead);
    static const VOMapTableAlloc* _ConflictTable(const VOMapTableAlloc* pTable, const StringHashSetAlloc& rkHead);
    unsigned long long _SizesOfParts(StringHashSetAlloc& rkHead) const;
    bool _HasMaps() const;
    void _EnterRecords();
    void _DropMaps();

    // The bits of a mask: in which of the two maps a string stands.
    static constexpr VOULONG kMaskPrimary = 1;
    static constexpr VOULONG kMaskConflict = 2;

    static constexpr StringHashRole kNoRole = static_cast<StringHashRole>(-1);
    StringHashRole m_eOperations;  // whose operations are had; no role's after a constructor that was given none

protected:
    StringHashMode m_eHashMode;
    StringHashRole m_eHashRole;
    VORecordVector<StringHashParam> m_vecHashStringParam;
    VOStringContainer* m_pkStringPool;  // owned; without one, what would need it fails in silence
    VOStringHash m_kStringHash;
    VOHashIndex m_mapHashString;       // Provider
    VOHashIndex m_mapHashConflict;     // Provider
    HashTable m_mapTableHashString;    // Customer
    HashTable m_mapTableHashConflict;  // Customer

private:
    unsigned int m_uLastFound;             // Provider: the record that Insert found last
    VOWriteJournal* m_pJournal = nullptr;  // Provider: of the records; whoever keeps it owns it
};
static_assert(sizeof(VOStringHashSet::StringHashParam) == 24);
static_assert(offsetof(VOStringHashSet::StringHashParam, dwState) == 8);
static_assert(offsetof(VOStringHashSet::StringHashParam, dwHashMask) == 12);
static_assert(offsetof(VOStringHashSet::StringHashParam, uHash0) == 16);
static_assert(offsetof(VOStringHashSet::StringHashParam, uHash1) == 20);
static_assert(sizeof(VOStringHashSet::StringHashSetAlloc) == 32);
static_assert(offsetof(VOStringHashSet::StringHashSetAlloc, abData) == 28);
