// Every platform call and allocation of a load fails once, the first, then the second, until a load runs through: an
// error value or the allocator's exception, the reader count where it was, nothing left open, and the next load
// succeeds.
#include <new>

#include "mapping/mapping_test_tools.h"
#include "support/fault_points.h"
#include "support/new_faults.h"

namespace
{
using namespace mappingtest;

class OpenAssemble : public VOTSFileMappingAssemble
{
public:
    OpenAssemble() = default;
    ~OpenAssemble() { _CloseInspector(); }
    using VOTSFileMappingAssemble::_SetupInspector;
};

struct Outcome
{
    bool bFired = false;
    bool bThrown = false;
    ErrorType eState = ET_NONE;
    ErrorType eData = ET_NONE;
};

// What fails: a platform call once, platform calls from then on, or operator new once.
enum class Fault
{
    Once,
    FromThenOn,
    New
};

const char* const kFaultNames[] = {"platform call", "platform calls from", "allocation"};

void Arm(Fault eFault, unsigned int uNth)
{
    if (eFault == Fault::New)
    {
        votest::NewFaults::Arm(uNth);
    }
    else
    {
        VOFaultArm(nullptr, uNth, eFault == Fault::FromThenOn);
    }
}

// True when something failed.
bool Disarm(Fault eFault)
{
    votest::NewFaults::Disarm();
    const bool bFired = eFault == Fault::New ? votest::NewFaults::Fired() : VOFaultFired() != 0;
    VOFaultDisarm();
    return bFired;
}

// Opens state and data with the Nth call failing.
Outcome LoadWithFault(VOTSFileMappingInspector& reader, Fault eFault, unsigned int uNth)
{
    Outcome outcome;
    Arm(eFault, uNth);
    try
    {
        outcome.eState = reader.OpenMappingState();
        outcome.eData = reader.OpenMappingData();
    }
    catch (const std::bad_alloc&)
    {
        outcome.bThrown = true;
    }
    outcome.bFired = Disarm(eFault);
    return outcome;
}

TEST(InspectorFaults, ALoadWhoseNthCallFailsGivesAnErrorAndLeavesNothingBehind)
{
    QuietLoop quiet;
    for (const Fault eFault : {Fault::Once, Fault::FromThenOn, Fault::New})
    {
        Publisher publisher;
        publisher.Publish(AF_SOURCE, SourceModel());
        unsigned int uNth = 1;
        for (;; ++uNth)
        {
            quiet.Next();
            publisher.SetWord(AF_SOURCE, 2, 0);
            ClosingInspector reader;
            const Outcome outcome = LoadWithFault(reader, eFault, uNth);
            EXPECT_EQ(0u, publisher.Readers(AF_SOURCE)) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            if (!outcome.bFired)
            {
                EXPECT_EQ(ET_NONE, outcome.eState);
                EXPECT_EQ(ET_NONE, outcome.eData);
                break;
            }
            if (!outcome.bThrown && outcome.eState != ET_NONE)
            {
                EXPECT_EQ(ET_STATE_UNAVAILABLE, outcome.eState) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
                EXPECT_EQ(ET_STATE_UNAVAILABLE, outcome.eData) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            }
            else if (!outcome.bThrown)
            {
                EXPECT_EQ(ET_DATA_UNAVAILABLE, outcome.eData) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            }
            (void)AskEverything(reader);
            reader.Load();
            EXPECT_EQ(11u, reader.GetAssetNodeCount())
                << "after " << kFaultNames[static_cast<int>(eFault)] << " " << uNth << " failed";
        }
        EXPECT_LE(2u, uNth) << "no call could fail";
    }
}

TEST(InspectorFaults, AReloadWhoseNthCallFailsDropsTheOldImageOrKeepsTheNewOne)
{
    QuietLoop quiet;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    for (const Fault eFault : {Fault::Once, Fault::New})
    {
        for (unsigned int uNth = 1;; ++uNth)
        {
            quiet.Next();
            publisher.SetWord(AF_SOURCE, 2, 0);
            ClosingInspector reader;
            reader.Load();
            ErrorType eResult = ET_NONE;
            Arm(eFault, uNth);
            try
            {
                eResult = reader.ReMappingData();
            }
            catch (const std::bad_alloc&)
            {
                eResult = ET_DATA_UNAVAILABLE;
            }
            const bool bFired = Disarm(eFault);
            EXPECT_EQ(0u, publisher.Readers(AF_SOURCE)) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            EXPECT_EQ(bFired ? ET_DATA_UNAVAILABLE : ET_NONE, eResult)
                << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            EXPECT_EQ(eResult, reader.LastErrorType()) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            EXPECT_EQ(bFired ? 0u : 11u, reader.GetAssetNodeCount())
                << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            if (!bFired)
            {
                break;
            }
            EXPECT_EQ(ET_NONE, reader.OpenMappingData())
                << "after " << kFaultNames[static_cast<int>(eFault)] << " " << uNth << " failed";
        }
    }
}

TEST(AssembleFaults, ASetUpWhoseNthCallFailsGivesNoSourcesAndTheNextOneSucceeds)
{
    QuietLoop quiet;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    for (const Fault eFault : {Fault::Once, Fault::New})
    {
        for (unsigned int uNth = 1;; ++uNth)
        {
            quiet.Next();
            OpenAssemble kAssemble;
            Arm(eFault, uNth);
            int nResult = 0;
            try
            {
                nResult = kAssemble._SetupInspector();
            }
            catch (const std::bad_alloc&)
            {
            }
            const bool bFired = Disarm(eFault);
            if (!bFired)
            {
                EXPECT_EQ(1, nResult);
                EXPECT_NE(0, kAssemble.IsAssetTypeEnable(AF_SOURCE));
                break;
            }
            EXPECT_EQ(0, nResult) << kFaultNames[static_cast<int>(eFault)] << " " << uNth;
            if (kAssemble.IsAssetTypeEnable(AF_SOURCE) == 0)
            {
                EXPECT_EQ(1, kAssemble._SetupInspector())
                    << "after " << kFaultNames[static_cast<int>(eFault)] << " " << uNth << " failed";
            }
        }
    }
}

}  // namespace
