// The reader's side: published sources, opened through the library.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_file_mapping.h"

namespace lum
{

class Output;

// One published source whose image is loaded.
class ReaderSource
{
public:
    ReaderSource(LUMTrayService::enumAssetFrom eaf, VOTSFileMappingInspector* pInspector);

    LUMTrayService::enumAssetFrom From() const { return m_eaf; }
    const VOTSFileMappingInspector& Inspector() const { return *m_pInspector; }
    const VOWString& Root() const { return m_strRoot; }
    VOWString RootName() const;

    // The node of a path of this source's index, relative to the root; the empty path is the root folder. An exact hit
    // wins over one that differs in the case of ASCII letters.
    std::optional<LUMTrayService::structAssetNode> FindPath(const VOWString& strPath) const;

    // The node that an argument of the user names: a path relative to the root or an absolute one, with either slash,
    // in any case, or the written form of a path (base/text.h).
    std::optional<LUMTrayService::structAssetNode> FindArgument(const std::string& strArgument) const;

    // Relative to the root; empty for the root folder.
    VOWString PathOf(const LUMTrayService::structAssetNode& node) const;

    // The text of a handle; empty when it has none.
    VOWString TextOf(void* hString) const;

private:
    std::optional<LUMTrayService::structAssetNode> _FindForm(const VOWString& strForm) const;

    LUMTrayService::enumAssetFrom m_eaf;
    VOTSFileMappingInspector* m_pInspector;  // the assemble's
    VOWString m_strRoot;
};

// All sources of a command, open until the session ends.
class ReaderSession
{
public:
    enum class Opened
    {
        Yes,
        NothingPublished,  // no publisher, or the source asked for isn't published
        Failed             // something is published and can't be read
    };

    ReaderSession();
    ~ReaderSession();
    ReaderSession(const ReaderSession&) = delete;
    ReaderSession& operator=(const ReaderSession&) = delete;

    // Opens one source, or all that are published.
    Opened Open(std::optional<LUMTrayService::enumAssetFrom> eafWanted, std::string* pstrError);

    const std::vector<ReaderSource>& Sources() const { return m_vecSources; }

    // The node that an argument names (FindArgument), in each source that has it; a complaint when none has.
    struct Found
    {
        const ReaderSource& source;
        LUMTrayService::structAssetNode node;
    };
    std::vector<Found> FindOrComplain(const std::string& strArgument) const;

private:
    Opened _OpenSource(LUMTrayService::enumAssetFrom eaf, std::string* pstrError);

    VOTSFileMappingAssemble* m_pAssemble = nullptr;
    std::vector<ReaderSource> m_vecSources;
};

// Opens the session of a command that needs data; false after a complaint.
bool OpenOrComplain(std::optional<LUMTrayService::enumAssetFrom> eafWanted, ReaderSession* pSession);

// The exit code of a command that is done: kExitFound or kExitNotFound, and kExitError after a complaint when the
// library reported damage meanwhile, or when the result could not be written.
int Finish(bool bFound, Output* pOutput);

}  // namespace lum
