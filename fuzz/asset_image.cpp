#include "fuzz/asset_queries.h"
#include "fuzz/targets.h"

using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;
using LUMTrayService::structAssetNode;

namespace
{
typedef VOTSAssetNodeContainer::ContainerAlloc AssetAlloc;

// Whoever flattens what was accepted can attach it again, in both roles, and sees the same nodes.
void RequireSameAgain(VOTSAssetNodeContainer& rkContainer)
{
    const FuzzImage<AssetAlloc> kImage(rkContainer.GetAlloc(), &free);
    FUZZ_REQUIRE(kImage != nullptr);
    for (const LUMTrayService::enumAssetRole eRole : {AR_Customer, AR_Provider})
    {
        VOTSAssetNodeContainer kAgain(eRole);
        FUZZ_REQUIRE(kAgain.SetAlloc(kImage.get(), 0, FuzzImageSize(kImage)) != 0);
        FUZZ_REQUIRE(kAgain.GetAssetNodeCount() == rkContainer.GetAssetNodeCount());
        for (unsigned int uID = 0; uID < rkContainer.GetAssetNodeCount(); ++uID)
        {
            structAssetNode tsNode;
            structAssetNode tsAgain;
            FUZZ_REQUIRE(rkContainer.GetAssetNode(uID, tsNode) != 0 && kAgain.GetAssetNode(uID, tsAgain) != 0);
            FUZZ_REQUIRE(FuzzSameNode(tsNode, tsAgain));
            FUZZ_REQUIRE(FuzzText(rkContainer.GetString(tsNode.hStrBaseName)) ==
                         FuzzText(kAgain.GetString(tsNode.hStrBaseName)));
        }
    }
}

// One step of a publisher on whatever it has loaded.
class Publisher
{
public:
    Publisher(VOTSAssetNodeContainer& rkContainer, FuzzBytes& rkSteps) : m_rkContainer(rkContainer), m_rkSteps(rkSteps)
    {
    }

    void Step()
    {
        structAssetNode tsNode;
        int bInserted = 0;
        const uint8_t uStep = m_rkSteps.Byte();
        switch (uStep % 20)
        {
            case 0:
            {
                const VOWString strPath = Path();
                if (m_rkContainer.RequestAssetNode(strPath.c_str(), tsNode, bInserted) != 0 && bInserted == 0)
                {
                    structAssetNode tsFound;
                    FUZZ_REQUIRE(m_rkContainer.GetAssetNodeCount() == tsNode.nAssetID + 1);
                    FUZZ_REQUIRE(!m_bSound || (m_rkContainer.FindAssetNode(strPath.c_str(), tsFound) != 0 &&
                                               FuzzSameNode(tsFound, tsNode)));
                }
                break;
            }
            case 1:
                (void)VOTSAssetNodeContainerHelper::RequestHttpFileNode(
                    tsNode, &m_rkContainer, LUMTrayService::AF_PAKV4, Path().c_str(), uStep & 64);
                break;
            case 2:
            {
                const unsigned int uID = Id();
                FUZZ_REQUIRE(m_rkContainer.RedirectAssetNode(uID, Path().c_str()) == 0 ||
                             uID < m_rkContainer.GetAssetNodeCount());
                break;
            }
            case 3:
            {
                const VOWString strPath = Path();
                if (m_rkContainer.RemoveAssetNode(strPath.c_str()) != 0)
                {
                    FUZZ_REQUIRE(!m_bSound || m_rkContainer.FindAssetNode(strPath.c_str(), tsNode) == 0);
                }
                break;
            }
            case 4:
                (void)m_rkContainer.RemoveAssetNode(Id());
                break;
            case 5:
            {
                const unsigned int uID = Id();
                (void)m_rkContainer.InsertAssetNodeChildIndex(uID, Id());
                break;
            }
            case 6:
            {
                const unsigned int uID = Id();
                (void)m_rkContainer.RemoveAssetNodeChildIndex(uID, Id());
                break;
            }
            case 7:
            {
                const unsigned int uID = Id();
                const std::vector<unsigned int> vecChildren = {Id(), Id(), Id()};
                (void)m_rkContainer.SetAssetNodeChildIndex(uID, vecChildren);
                break;
            }
            case 8:
            {
                const unsigned int uID = Id();
                const unsigned int uFolders = m_rkSteps.Byte();
                (void)m_rkContainer.SetAssetNodeChildIndex(uID, uFolders, m_rkSteps.Byte());
                break;
            }
            case 9:
            {
                const unsigned int uID = Id();
                (void)m_rkContainer.SetAssetNodeParentIndex(uID, Id());
                break;
            }
            case 10:
                (void)m_rkContainer.SetAssetNodeFolder(Id(), uStep & 64);
                break;
            case 11:
            {
                // Texts of the pool itself go in as well.
                const unsigned int uID = Id();
                const VOWString strName = Path();
                const VOWCHAR* const pszOwn = m_rkContainer.GetAssetNode(Id(), tsNode) != 0
                                                  ? m_rkContainer.GetString(tsNode.hStrBaseName)
                                                  : nullptr;
                (void)m_rkContainer.SetAssetNodeStripPath(uID, pszOwn, strName.c_str(), pszOwn);
                break;
            }
            case 12:
                (void)m_rkContainer.SetAssetNodePhysicsPath(Id(), Path().c_str());
                break;
            case 13:
                (void)m_rkContainer.SetAssetNodeClassifyType(Id(), uStep, VOTEXT("T"));
                break;
            case 14:
                (void)m_rkContainer.SetAssetNodeFileAttribute(Id(), m_rkSteps.Byte(), -1, 2, 3, uStep);
                break;
            case 15:
                if (m_rkContainer.InsertClassifyType(uStep / 20, VOTEXT("T2"), VOTEXT("b|c"), {}, {}) != 0)
                {
                    FUZZ_REQUIRE(m_rkContainer.BuildUpExtensionsHash() != 0);
                }
                break;
            case 16:
                (void)m_rkContainer.ShrinkToFit();
                break;
            case 17:
            {
                VOTSAssetNodeContainer kCopy(m_rkContainer);
                FUZZ_REQUIRE(kCopy.RequestAssetNode(VOTEXT("copy"), tsNode, bInserted) == 0 ||
                             kCopy.GetAssetNodeCount() >= m_rkContainer.GetAssetNodeCount());
                break;
            }
            case 18:
                if ((uStep & 64) != 0)
                {
                    FUZZ_REQUIRE(m_rkContainer.CleanUp() != 0);
                    FUZZ_REQUIRE(m_rkContainer.GetAssetNodeCount() == 0);
                    m_bSound = true;
                }
                break;
            default:
            {
                VOTSAssetNodeContainer kTarget(AR_Provider, VOTEXT("C:/x"), nullptr);
                (void)m_rkContainer.ReConstructContainer(&kTarget);
                break;
            }
        }
    }

private:
    // Mostly an id that exists.
    unsigned int Id() { return m_rkSteps.Byte() % (m_rkContainer.GetAssetNodeCount() + 2); }

    // A few that meet each other, and those of the container itself.
    VOWString Path()
    {
        static const VOWCHAR* const s_apszPath[] = {VOTEXT("d"),       VOTEXT("d/a"), VOTEXT("D\\a.b"),
                                                    VOTEXT("new/e.f"), VOTEXT("g"),   VOTEXT("C:/r/d/a"),
                                                    VOTEXT(""),        VOTEXT(":")};
        const uint8_t uChoice = m_rkSteps.Byte();
        VOWCHAR szPath[MAX_PATH];
        if (uChoice >= 128 && m_rkContainer.GetAssetPath(uChoice % 128, MAX_PATH, szPath) != 0)
        {
            return szPath;
        }
        return s_apszPath[uChoice % 8];
    }

    VOTSAssetNodeContainer& m_rkContainer;
    FuzzBytes& m_rkSteps;
    bool m_bSound = false;  // all that is in the index came in by these steps
};
}  // namespace

void FuzzAssetImage(const uint8_t* pbData, size_t uSize)
{
    AssetAlloc* const pAlloc = reinterpret_cast<AssetAlloc*>(const_cast<uint8_t*>(pbData));
    VOTSAssetNodeContainer kView(AR_Customer);
    if (kView.SetAlloc(pAlloc, 0, uSize) == 0)
    {
        // Refused in front of everything, or taken for empty: either way nothing in it may be touched wrongly.
        FuzzAssetQueries(kView).AskAll();
        return;
    }
    FUZZ_REQUIRE(kView.GetAssetNodeCount() <= uSize / sizeof(structAssetNodeParam));
    FuzzAssetQueries(kView).AskAll();
    VOTSAssetNodeContainer kTarget(AR_Provider);
    (void)kView.ReConstructContainer(&kTarget);
    RequireSameAgain(kView);
}

void FuzzAssetProvider(const uint8_t* pbData, size_t uSize)
{
    FuzzBytes kInput(pbData, uSize);
    FuzzBytes kSteps = kInput.TakeSteps();
    VOTSAssetNodeContainer kPublisher(AR_Provider, VOTEXT("C:/r"), VOTEXT("r"));
    AssetAlloc* const pAlloc = reinterpret_cast<AssetAlloc*>(const_cast<uint8_t*>(kInput.Data()));
    if (kPublisher.SetAlloc(pAlloc, 1, kInput.Size()) == 0)
    {
        // What a failed load leaves is empty after this, whatever it was.
        FUZZ_REQUIRE(kPublisher.CleanUp() != 0 && kPublisher.GetAssetNodeCount() == 0);
        return;
    }
    Publisher kSteppable(kPublisher, kSteps);
    while (!kSteps.Empty())
    {
        kSteppable.Step();
    }
    FuzzAssetQueries(kPublisher).AskAll();
    RequireSameAgain(kPublisher);
}
