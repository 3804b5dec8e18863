#include "fuzz/asset_queries.h"
#include "fuzz/targets.h"

using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;
using LUMTrayService::structAssetNode;

namespace
{
typedef VOTSAssetNodeContainer::ContainerAlloc AssetAlloc;

// Whoever flattens what was accepted can attach it again, in both roles, and sees the same nodes.
void RequireSameAgain(VOTSAssetNodeContainer& container)
{
    const FuzzImage<AssetAlloc> image(container.GetAlloc(), &free);
    FUZZ_REQUIRE(image != nullptr);
    for (const LUMTrayService::enumAssetRole eRole : {AR_Customer, AR_Provider})
    {
        VOTSAssetNodeContainer again(eRole);
        FUZZ_REQUIRE(again.SetAlloc(image.get(), 0, FuzzImageSize(image)) != 0);
        FUZZ_REQUIRE(again.GetAssetNodeCount() == container.GetAssetNodeCount());
        for (unsigned int uID = 0; uID < container.GetAssetNodeCount(); ++uID)
        {
            structAssetNode tsNode;
            structAssetNode tsAgain;
            FUZZ_REQUIRE(container.GetAssetNode(uID, tsNode) != 0 && again.GetAssetNode(uID, tsAgain) != 0);
            FUZZ_REQUIRE(FuzzSameNode(tsNode, tsAgain));
            FUZZ_REQUIRE(FuzzText(container.GetString(tsNode.hStrBaseName)) ==
                         FuzzText(again.GetString(tsNode.hStrBaseName)));
        }
    }
}

// One step of a publisher on whatever it has loaded.
class Publisher
{
public:
    Publisher(VOTSAssetNodeContainer& container, FuzzBytes& steps) : m_container(container), m_steps(steps) {}

    void Step()
    {
        structAssetNode tsNode;
        int bInserted = 0;
        const uint8_t uStep = m_steps.Byte();
        switch (uStep % 20)
        {
            case 0:
            {
                const VOWString strPath = Path();
                if (m_container.RequestAssetNode(strPath.c_str(), tsNode, bInserted) != 0 && bInserted == 0)
                {
                    structAssetNode tsFound;
                    FUZZ_REQUIRE(m_container.GetAssetNodeCount() == tsNode.nAssetID + 1);
                    FUZZ_REQUIRE(!m_bSound || (m_container.FindAssetNode(strPath.c_str(), tsFound) != 0 &&
                                               FuzzSameNode(tsFound, tsNode)));
                }
                break;
            }
            case 1:
                (void)VOTSAssetNodeContainerHelper::RequestHttpFileNode(tsNode, &m_container, LUMTrayService::AF_PAKV4,
                                                                        Path().c_str(), uStep & 64);
                break;
            case 2:
            {
                const unsigned int uID = Id();
                FUZZ_REQUIRE(m_container.RedirectAssetNode(uID, Path().c_str()) == 0 ||
                             uID < m_container.GetAssetNodeCount());
                break;
            }
            case 3:
            {
                const VOWString strPath = Path();
                if (m_container.RemoveAssetNode(strPath.c_str()) != 0)
                {
                    FUZZ_REQUIRE(!m_bSound || m_container.FindAssetNode(strPath.c_str(), tsNode) == 0);
                }
                break;
            }
            case 4:
                (void)m_container.RemoveAssetNode(Id());
                break;
            case 5:
            {
                const unsigned int uID = Id();
                (void)m_container.InsertAssetNodeChildIndex(uID, Id());
                break;
            }
            case 6:
            {
                const unsigned int uID = Id();
                (void)m_container.RemoveAssetNodeChildIndex(uID, Id());
                break;
            }
            case 7:
            {
                const unsigned int uID = Id();
                const std::vector<unsigned int> vecChildren = {Id(), Id(), Id()};
                (void)m_container.SetAssetNodeChildIndex(uID, vecChildren);
                break;
            }
            case 8:
            {
                const unsigned int uID = Id();
                const unsigned int uFolders = m_steps.Byte();
                (void)m_container.SetAssetNodeChildIndex(uID, uFolders, m_steps.Byte());
                break;
            }
            case 9:
            {
                const unsigned int uID = Id();
                (void)m_container.SetAssetNodeParentIndex(uID, Id());
                break;
            }
            case 10:
                (void)m_container.SetAssetNodeFolder(Id(), uStep & 64);
                break;
            case 11:
            {
                // Texts of the pool itself go in as well.
                const unsigned int uID = Id();
                const VOWString strName = Path();
                const VOWCHAR* const pszOwn =
                    m_container.GetAssetNode(Id(), tsNode) != 0 ? m_container.GetString(tsNode.hStrBaseName) : nullptr;
                (void)m_container.SetAssetNodeStripPath(uID, pszOwn, strName.c_str(), pszOwn);
                break;
            }
            case 12:
                (void)m_container.SetAssetNodePhysicsPath(Id(), Path().c_str());
                break;
            case 13:
                (void)m_container.SetAssetNodeClassifyType(Id(), uStep, VOTEXT("T"));
                break;
            case 14:
                (void)m_container.SetAssetNodeFileAttribute(Id(), m_steps.Byte(), -1, 2, 3, uStep);
                break;
            case 15:
                if (m_container.InsertClassifyType(uStep / 20, VOTEXT("T2"), VOTEXT("b|c"), {}, {}) != 0)
                {
                    FUZZ_REQUIRE(m_container.BuildUpExtensionsHash() != 0);
                }
                break;
            case 16:
                (void)m_container.ShrinkToFit();
                break;
            case 17:
            {
                VOTSAssetNodeContainer copy(m_container);
                FUZZ_REQUIRE(copy.RequestAssetNode(VOTEXT("copy"), tsNode, bInserted) == 0 ||
                             copy.GetAssetNodeCount() >= m_container.GetAssetNodeCount());
                break;
            }
            case 18:
                if ((uStep & 64) != 0)
                {
                    FUZZ_REQUIRE(m_container.CleanUp() != 0);
                    FUZZ_REQUIRE(m_container.GetAssetNodeCount() == 0);
                    m_bSound = true;
                }
                break;
            default:
            {
                VOTSAssetNodeContainer target(AR_Provider, VOTEXT("C:/x"), nullptr);
                (void)m_container.ReConstructContainer(&target);
                break;
            }
        }
    }

private:
    // Mostly an id that exists.
    unsigned int Id() { return m_steps.Byte() % (m_container.GetAssetNodeCount() + 2); }

    // A few that meet each other, and those of the container itself.
    VOWString Path()
    {
        static const VOWCHAR* const s_apszPath[] = {VOTEXT("d"),       VOTEXT("d/a"), VOTEXT("D\\a.b"),
                                                    VOTEXT("new/e.f"), VOTEXT("g"),   VOTEXT("C:/r/d/a"),
                                                    VOTEXT(""),        VOTEXT(":")};
        const uint8_t uChoice = m_steps.Byte();
        VOWCHAR szPath[MAX_PATH];
        if (uChoice >= 128 && m_container.GetAssetPath(uChoice % 128, MAX_PATH, szPath) != 0)
        {
            return szPath;
        }
        return s_apszPath[uChoice % 8];
    }

    VOTSAssetNodeContainer& m_container;
    FuzzBytes& m_steps;
    bool m_bSound = false;  // all that is in the index came in by these steps
};
}  // namespace

void FuzzAssetImage(const uint8_t* pbData, size_t uSize)
{
    AssetAlloc* const pAlloc = reinterpret_cast<AssetAlloc*>(const_cast<uint8_t*>(pbData));
    VOTSAssetNodeContainer view(AR_Customer);
    if (view.SetAlloc(pAlloc, 0, uSize) == 0)
    {
        // Refused in front of everything, or taken for empty: either way nothing in it may be touched wrongly.
        FuzzAssetQueries(view).AskAll();
        return;
    }
    FUZZ_REQUIRE(view.GetAssetNodeCount() <= uSize / sizeof(structAssetNodeParam));
    FuzzAssetQueries(view).AskAll();
    VOTSAssetNodeContainer target(AR_Provider);
    (void)view.ReConstructContainer(&target);
    RequireSameAgain(view);
}

void FuzzAssetProvider(const uint8_t* pbData, size_t uSize)
{
    FuzzBytes input(pbData, uSize);
    FuzzBytes steps = input.TakeSteps();
    VOTSAssetNodeContainer publisher(AR_Provider, VOTEXT("C:/r"), VOTEXT("r"));
    AssetAlloc* const pAlloc = reinterpret_cast<AssetAlloc*>(const_cast<uint8_t*>(input.Data()));
    if (publisher.SetAlloc(pAlloc, 1, input.Size()) == 0)
    {
        // What a failed load leaves is empty after this, whatever it was.
        FUZZ_REQUIRE(publisher.CleanUp() != 0 && publisher.GetAssetNodeCount() == 0);
        return;
    }
    Publisher steppable(publisher, steps);
    while (!steps.Empty())
    {
        steppable.Step();
    }
    FuzzAssetQueries(publisher).AskAll();
    RequireSameAgain(publisher);
}
