// A publisher that follows what its sources show.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "live/live_source.h"
#include "publish/event_publisher.h"
#include "publish/publisher.h"
#include "publish/serve_status.h"

namespace lum
{

class LiveServer
{
public:
    // bFollow: watch the directories. vecTypes lives as long as this object.
    LiveServer(const std::vector<ClassifyType>& vecTypes, bool bFollow);
    ~LiveServer();  // withdraws

    // Becomes the publisher, scans everything, and then publishes it. After a Failure there is nothing
    // left to do but to withdraw.
    void Start(const std::vector<SourceSpec>& vecSpecs);

    unsigned NodeCount() const;

    // Follows the sources until a stop is requested; then withdraws everything. A Failure when it can't go on.
    void Run();

    // One turn of Run: waits for something to do, at most so long, and does it.
    void Turn(std::chrono::milliseconds longest);

    void Withdraw();

private:
    struct Served;

    void _Publish(Served* pServed);
    void _SetStatus(const Served& served);

    const std::vector<ClassifyType>& m_vecTypes;
    bool m_bFollow;
    HintSignal m_signal;
    Publisher m_publisher;
    EventPublisher m_events;
    ServeStatusSection m_status;
    std::vector<std::unique_ptr<Served>> m_vecSources;
};

}  // namespace lum
