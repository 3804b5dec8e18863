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
    struct Served;

    bool _Publish(Served* pServed, std::string* pstrError);
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
