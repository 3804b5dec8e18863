// Thousands of random edits, played on an INI file and on a model of it; both have to hold the same lines and to write
// the same bytes. The model keeps entries in a table and links as indexes; it shares nothing with the library.
#include <cstring>

#include "config/ini_tools.h"
#include "support/random.h"

using namespace initest;

namespace
{
constexpr int NONE = -1;

struct ModelEntry
{
    char cType;
    std::string strText;
    int nPrev = NONE;
    int nNext = NONE;
    bool bDeleted = false;
};

std::string Upper(std::string strText)
{
    for (char& rch : strText)
    {
        rch = rch >= 'a' && rch <= 'z' ? static_cast<char>(rch - 32) : rch;
    }
    return strText;
}

class Model
{
public:
    void Append(char cType, const std::string& strText)
    {
        int nTail = m_nLast;
        if (nTail != NONE && m_vecEntry[Index(nTail)].bDeleted)
        {
            for (nTail = m_nFirst; At(nTail).nNext != NONE;)
            {
                nTail = At(nTail).nNext;
            }
        }
        const int nNew = New(cType, strText);
        At(nNew).nPrev = nTail;
        (nTail != NONE ? At(nTail).nNext : m_nFirst) = nNew;
        m_nLast = nNew;
    }

    void InsertBehind(int nEntry, char cType, const std::string& strText)
    {
        const int nNew = New(cType, strText);
        At(nNew).nPrev = nEntry;
        At(nNew).nNext = At(nEntry).nNext;
        At(nEntry).nNext = nNew;
    }

    int FindSection(const std::string& strName) const
    {
        int nEntry = m_nFirst;
        while (nEntry != NONE &&
               (At(nEntry).cType != tpSECTION || Upper(At(nEntry).strText) != Upper("[" + strName + "]")))
        {
            nEntry = At(nEntry).nNext;
        }
        return nEntry;
    }

    int FindKey(int nSection, const std::string& strKey) const
    {
        for (int nEntry = At(nSection).nNext; nEntry != NONE && At(nEntry).cType != tpSECTION;
             nEntry = At(nEntry).nNext)
        {
            const std::string strLine = At(nEntry).strText.substr(0, At(nEntry).strText.find(';'));
            const size_t uEquals = strLine.find('=');
            if (At(nEntry).cType == tpKEYVALUE && uEquals != std::string::npos &&
                Upper(strLine.substr(0, uEquals)) == Upper(strKey))
            {
                return nEntry;
            }
        }
        return NONE;
    }

    void WriteString(const std::string& strSection, const std::string* pstrKey, const std::string& strValue)
    {
        const int nSection = FindSection(strSection);
        const int nKey = nSection != NONE && pstrKey != nullptr ? FindKey(nSection, *pstrKey) : NONE;
        const char cType = pstrKey != nullptr ? tpKEYVALUE : tpCOMMENT;
        const std::string strLine = pstrKey != nullptr ? *pstrKey + "=" + strValue : strValue;
        if (nKey != NONE)
        {
            const std::string& old = At(nKey).strText;
            const size_t uComment = old.find(';');
            At(nKey).strText = old.substr(0, old.find('=')) + "=" + strValue +
                               (uComment != std::string::npos ? old.substr(uComment) : "");
        }
        else if (nSection != NONE)
        {
            InsertBehind(nSection, cType, strLine);
        }
        else
        {
            Append(tpSECTION, "[" + strSection + "]");
            Append(cType, strLine);
        }
    }

    bool DeleteKey(const std::string& strSection, const std::string& strKey)
    {
        const int nSection = FindSection(strSection);
        const int nKey = nSection != NONE ? FindKey(nSection, strKey) : NONE;
        if (nKey == NONE)
        {
            return false;
        }
        Link(At(nKey).nPrev, At(nKey).nNext);
        if (At(nKey).nNext != NONE)
        {
            At(At(nKey).nNext).nPrev = At(nKey).nPrev;
        }
        At(nKey).bDeleted = true;
        ForgetDeleted();
        return true;
    }

    void DeleteSection(const std::string& strName)
    {
        const int nSection = FindSection(strName);
        if (nSection == NONE)
        {
            return;
        }
        const int nInFront = At(nSection).nPrev;
        int nEntry = nSection;
        while (At(nEntry).nNext != NONE && At(At(nEntry).nNext).cType != tpSECTION)
        {
            At(nEntry).bDeleted = true;
            nEntry = At(nEntry).nNext;
        }
        const int nStop = At(nEntry).nNext != NONE ? At(nEntry).nNext : nEntry;
        Link(nInFront, nStop);
        At(nStop).nPrev = nInFront;
        ForgetDeleted();
    }

    Texts Lines() const
    {
        Texts vecLine;
        for (int nEntry = m_nFirst; nEntry != NONE; nEntry = At(nEntry).nNext)
        {
            vecLine.push_back(std::string(1, "?skc"[static_cast<size_t>(At(nEntry).cType)]) + ":" + At(nEntry).strText);
        }
        return vecLine;
    }

    std::string Written() const
    {
        std::string strBytes;
        for (int nEntry = m_nFirst; nEntry != NONE; nEntry = At(nEntry).nNext)
        {
            strBytes +=
                (At(nEntry).cType == tpSECTION && nEntry != m_nFirst ? "\r\n" : "") + At(nEntry).strText + "\r\n";
        }
        return strBytes;
    }

    // The entry at a place of the chain.
    int EntryAt(size_t uPlace) const
    {
        int nEntry = m_nFirst;
        for (; uPlace > 0 && At(nEntry).nNext != NONE; --uPlace)
        {
            nEntry = At(nEntry).nNext;
        }
        return nEntry;
    }

private:
    static size_t Index(int nEntry) { return static_cast<size_t>(nEntry); }
    ModelEntry& At(int nEntry) { return m_vecEntry.at(Index(nEntry)); }
    const ModelEntry& At(int nEntry) const { return m_vecEntry.at(Index(nEntry)); }

    int New(char cType, const std::string& strText)
    {
        m_vecEntry.push_back({cType, strText});
        return static_cast<int>(m_vecEntry.size()) - 1;
    }

    void Link(int nInFront, int nBehind) { (nInFront != NONE ? At(nInFront).nNext : m_nFirst) = nBehind; }

    // No link leads to a deleted entry: it leads to the one that the deleted entry led to.
    void ForgetDeleted()
    {
        for (ModelEntry& rEntry : m_vecEntry)
        {
            while (rEntry.nNext != NONE && At(rEntry.nNext).bDeleted)
            {
                rEntry.nNext = At(rEntry.nNext).nNext;
            }
            while (rEntry.nPrev != NONE && At(rEntry.nPrev).bDeleted)
            {
                rEntry.nPrev = At(rEntry.nPrev).nPrev;
            }
        }
    }

    std::vector<ModelEntry> m_vecEntry;
    int m_nFirst = NONE;
    int m_nLast = NONE;
};

const Texts SECTIONS = {"a", "B", "long section", "d", "A"};
const Texts KEYS = {"k", "K2", "other", "x y", "z", "Other"};
const Texts VALUES = {"1", "some text", " 2 ", "v;c", "a[1]", "w=3"};

// One random edit, on both.
void PlayOneEdit(Random& random, Ini& ini, Model& model)
{
    const std::string& section = SECTIONS[random.Below(SECTIONS.size())];
    const std::string& key = KEYS[random.Below(KEYS.size())];
    const std::string& value = VALUES[random.Below(VALUES.size())];
    const size_t uKind = random.Below(100);
    if (uKind < 45)
    {
        ini.WriteString(section.c_str(), key.c_str(), value.c_str());
        model.WriteString(section, &key, value);
    }
    else if (uKind < 55)
    {
        ini.WriteString(section.c_str(), nullptr, value.c_str());
        model.WriteString(section, nullptr, value);
    }
    else if (uKind < 75)
    {
        ASSERT_EQ(model.DeleteKey(section, key) ? 1 : 0, ini.DeleteKey(section.c_str(), key.c_str()));
    }
    else if (uKind < 83)
    {
        ASSERT_EQ(1, ini.DeleteSection(section.c_str()));
        model.DeleteSection(section);
    }
    else if (uKind < 88)
    {
        ASSERT_EQ(1, ini.AddItem(tpCOMMENT, "; appended"));
        model.Append(tpCOMMENT, "; appended");
    }
    else if (ini.m_pFirstEntry != nullptr)
    {
        const size_t uPlace = random.Below(12);
        ZENTRY* pEntry = ini.m_pFirstEntry;
        for (size_t i = 0; i < uPlace && pEntry->pNext != nullptr; ++i)
        {
            pEntry = pEntry->pNext;
        }
        ASSERT_EQ(1, ini.AddItemAt(pEntry, tpKEYVALUE, (key + "=" + value).c_str()));
        model.InsertBehind(model.EntryAt(uPlace), tpKEYVALUE, key + "=" + value);
    }
}
}  // namespace

TEST(IniRandom, ThousandsOfEditScriptsLeaveTheLinesOfTheModel)
{
    const TemporaryFiles files;
    const std::string strPath = files.Path("a.ini");
    Random random(71001);
    for (int nScript = 0; nScript < 2500; ++nScript)
    {
        Ini ini;
        Model model;
        if (random.Percent(80))
        {
            const std::string strStart = "[a]\nk=1 ; one\nother=2\n[B]\nK2=v\n;c\nz=1\n[d]\n";
            ASSERT_EQ(1, ini.OpenIniFile(files.Write("start.ini", strStart).c_str(), false));
            for (const auto& [cType, pszText] :
                 {std::pair{tpSECTION, "[a]"}, std::pair{tpKEYVALUE, "k=1 ; one"}, std::pair{tpKEYVALUE, "other=2"},
                  std::pair{tpSECTION, "[B]"}, std::pair{tpKEYVALUE, "K2=v"}, std::pair{tpCOMMENT, ";c"},
                  std::pair{tpKEYVALUE, "z=1"}, std::pair{tpSECTION, "[d]"}})
            {
                model.Append(static_cast<char>(cType), pszText);
            }
        }
        for (size_t uLeft = 1 + random.Below(40); uLeft > 0; --uLeft)
        {
            PlayOneEdit(random, ini, model);
            ASSERT_EQ(model.Lines(), ini.Lines()) << "script " << nScript;
        }
        ASSERT_EQ(1, ini.WriteIniFile(strPath.c_str()));
        ASSERT_EQ(model.Written(), TemporaryFiles::Read(strPath)) << "script " << nScript;
    }
}
