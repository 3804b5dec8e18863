#include "scan/archive_list.h"

#include <fmt/format.h>

#include "base/text.h"

#if defined(LUM_HAVE_ARCHIVE)

#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <type_traits>

#include "platform/vo_text.h"
#include "tray_service_types.h"

namespace lum
{

namespace
{

constexpr size_t kBlockSize = 64 * 1024;
constexpr unsigned kOwnerMayWrite = 0200;

struct ArchiveEnd
{
    void operator()(archive* pArchive) const { archive_read_free(pArchive); }
};
typedef std::unique_ptr<archive, ArchiveEnd> ArchivePointer;

std::string ErrorOf(const VOWString& strPath, archive* pArchive)
{
    const char* pszText = archive_error_string(pArchive);
    return fmt::format("{}: can't be read as an archive: {}", WrittenForm(strPath, Escape::Controls),
                       pszText != nullptr ? pszText : "unknown error");
}

// The library opens a file by a wide name where names of files are wide, and by bytes elsewhere.
template <typename Char>
int OpenFile(archive* pArchive, const std::basic_string<Char>& strPath)
{
    if constexpr (std::is_same_v<Char, wchar_t>)
    {
        return archive_read_open_filename_w(pArchive, strPath.c_str(), kBlockSize);
    }
    else
    {
        return archive_read_open_filename(pArchive, VOToNativePath(strPath).c_str(), kBlockSize);
    }
}

// All formats that know where they end. Without its end, a zip would be taken for a whole one with fewer entries.
void SupportFormats(archive* pArchive)
{
    archive_read_support_format_zip_seekable(pArchive);
    archive_read_support_format_tar(pArchive);
    archive_read_support_format_7zip(pArchive);
    archive_read_support_format_cpio(pArchive);
    archive_read_support_format_rar(pArchive);
    archive_read_support_format_rar5(pArchive);
    archive_read_support_format_cab(pArchive);
    archive_read_support_format_lha(pArchive);
    archive_read_support_format_xar(pArchive);
    archive_read_support_format_iso9660(pArchive);
}

// The wide path of an entry where the library has names in that form; it can't bring all of them into another one
// there.
template <typename Char>
const Char* WidePathOf([[maybe_unused]] archive_entry* pEntry)
{
    if constexpr (std::is_same_v<Char, wchar_t>)
    {
        return archive_entry_pathname_w(pEntry);
    }
    else
    {
        return nullptr;
    }
}

// The path of an entry: text where the archive says so, otherwise its bytes; none when the entry has no path.
std::optional<VOWString> PathOf(archive_entry* pEntry)
{
    if (const VOWCHAR* pszWide = WidePathOf<VOWCHAR>(pEntry))
    {
        return VOWString(pszWide);
    }
    if (const char* pszUtf8 = archive_entry_pathname_utf8(pEntry))
    {
        return VOFromNative(pszUtf8);
    }
    if (const char* pszBytes = archive_entry_pathname(pEntry))
    {
        return VOFromNative(pszBytes);
    }
    return std::nullopt;
}

IndexEntry EntryOf(archive_entry* pEntry)
{
    IndexEntry entry;
    entry.bFolder = archive_entry_filetype(pEntry) == AE_IFDIR;
    const bool bMayWrite = (archive_entry_perm(pEntry) & kOwnerMayWrite) != 0;
    entry.uAttribute = bMayWrite ? LUMTrayService::kFileAttributeWritable : LUMTrayService::kFileAttributeReadOnly;
    entry.ullSize = archive_entry_size_is_set(pEntry) ? static_cast<uint64_t>(archive_entry_size(pEntry)) : 0;
    entry.nWriteTime = archive_entry_mtime_is_set(pEntry) ? archive_entry_mtime(pEntry) : 0;
    entry.nAccessTime = archive_entry_atime_is_set(pEntry) ? archive_entry_atime(pEntry) : entry.nWriteTime;
    entry.nCreateTime = archive_entry_birthtime_is_set(pEntry) ? archive_entry_birthtime(pEntry) : entry.nWriteTime;
    return entry;
}

void AddEntry(archive_entry* pEntry, PathTree* pTree, std::vector<NotIndexed>* pvecNotIndexed)
{
    const std::optional<VOWString> strRaw = PathOf(pEntry);
    const std::optional<VOWString> strPath = strRaw ? CleanPath(*strRaw) : std::nullopt;
    if (!strPath)
    {
        pvecNotIndexed->push_back(
            {strRaw.value_or(VOTEXT("?")), strRaw ? "its path leads out of the archive" : "its name can't be read"});
        return;
    }
    switch (pTree->Add(*strPath, EntryOf(pEntry)))
    {
        case PathTree::Added::UnderFile:
            pvecNotIndexed->push_back({*strPath, "lies in something that is a file in the archive"});
            break;
        case PathTree::Added::OtherKind:
            pvecNotIndexed->push_back({*strPath, "is a file and a folder in the archive"});
            break;
        default:
            break;
    }
}

}  // namespace

bool ReadArchive(const VOWString& strPath, PathTree* pTree, std::vector<NotIndexed>* pvecNotIndexed,
                 std::string* pstrError)
{
    const ArchivePointer pArchive(archive_read_new());
    archive_read_support_filter_all(pArchive.get());
    SupportFormats(pArchive.get());
    if constexpr (std::is_same_v<VOWCHAR, wchar_t>)
    {
        // Names that don't say how they are written are taken for UTF-8. Otherwise the system's code page would decide,
        // and one archive would have other names on each machine.
        archive_read_set_format_option(pArchive.get(), nullptr, "hdrcharset", "UTF-8");
    }
    if (OpenFile(pArchive.get(), strPath) != ARCHIVE_OK)
    {
        *pstrError = ErrorOf(strPath, pArchive.get());
        return false;
    }
    for (;;)
    {
        archive_entry* pEntry = nullptr;
        const int nResult = archive_read_next_header(pArchive.get(), &pEntry);
        if (nResult == ARCHIVE_EOF)
        {
            return true;
        }
        // A warning is about one entry, which is there all the same.
        if (nResult != ARCHIVE_OK && nResult != ARCHIVE_WARN)
        {
            *pstrError = ErrorOf(strPath, pArchive.get());
            return false;
        }
        AddEntry(pEntry, pTree, pvecNotIndexed);
    }
}

}  // namespace lum

#else

namespace lum
{

bool ReadArchive(const VOWString& strPath, PathTree* /*pTree*/, std::vector<NotIndexed>* /*pvecNotIndexed*/,
                 std::string* pstrError)
{
    *pstrError = fmt::format("{}: this build of lum was made without an archive library and can't list paks",
                             WrittenForm(strPath, Escape::Controls));
    return false;
}

}  // namespace lum

#endif
