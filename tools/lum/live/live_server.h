// A publisher that follows what its sources show.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "live/live_source.h"
#include "publish/event_publisher.h"
#include "publish/publisher.h"
#include "publish/serve_status.h"
#include "vo_publisher.h"

namespace lum
{

class LiveServer
{
public:
    // bFollow: watch the directories. bClassic: without the second road. vecTypes lives as long as this object.
    LiveServer(const std::vector<ClassifyType>& vecTypes, bool bFollow, bool bClassic = false);
    ~LiveServer();

    // Becomes the publisher, scans everything, and then publishes it. False with a message; nothing is published then.
    bool Start(const std::vector<SourceSpec>& vecSpecs, std::string* pstrError);

    unsigned NodeCount() const;

    // Follows the sources until a stop is requested; then withdraws everything. False with a message when it can't go
    // on.
    bool Run(std::string* pstrError);

    // One turn of Run: waits for something to do, at most so long, and does it.
    bool Turn(std::chrono::milliseconds longest, std::string* pstrError);

    void Withdraw();

private:
    struct Publication;
    struct Served;

    bool _PublishRoad(Served* pServed);
    void _Tell(Served* pServed);
    void _SetRoad(Served* pServed, bool bPublished);
    void _Begin(Served* pServed);
    void _Publish(Publication* pPublication);
    bool _IsPublishing() const;
    void _End(Served* pServed);
    void _SetStatus(const Served& served);

    const std::vector<ClassifyType>& m_vecTypes;
    bool m_bFollow;
    bool m_bClassic;
    HintSignal m_signal;
    VORoadPublisher m_road;
    Publisher m_publisher;
    EventPublisher m_events;
    ServeStatusSection m_status;
    std::vector<std::unique_ptr<Served>> m_vecSources;
    LiveClock::time_point m_lastWork;
};

}  // namespace lum
