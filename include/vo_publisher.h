// A publisher's second road: beside the compressed images, the plain image of each source in a section that readers map
// as it is, and a log of what changes in it. Readers that are built with this library take it by themselves.
//
// A publisher may do without. One that doesn't: Open, then for each source Publish with the container that it makes its
// images from, and NoteImage right before each store of the source's update count; Publish again whenever something has
// changed in the container, as often as it likes; Remove for a source that it withdraws.
#pragma once

#include <memory>

#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_asset_node_container.h"

// One thread at a time, and the containers aren't changed meanwhile. What returns false leaves a value in the system's
// last error, and readers on the first road. Only the constructor and Open throw std::bad_alloc.
class VOBASE_API VORoadPublisher
{
public:
    // Of one source since Open.
    struct Counts
    {
        unsigned long long ullGenerations;  // bases
        unsigned long long ullBatches;      // changes told in a log
        unsigned long long ullAttached;     // how often a reader took a base
        unsigned long long ullDoubted;      // how often a reader found base or log unsound
    };

    VORoadPublisher();

    // Withdraws everything.
    ~VORoadPublisher();
    VORoadPublisher(const VORoadPublisher&) = delete;
    VORoadPublisher& operator=(const VORoadPublisher&) = delete;

    // Becomes the one that publishes here, and takes away what a killed publisher left. No source is published then.
    bool Open();

    // Takes all sources and the state section away. Readers that have a base keep it, and see no change.
    void Withdraw();

    bool IsOpen() const;

    // What the container has now is readable, and who waits is woken: by an entry in the log that costs what changed
    // since the last call, or by a new base where there is none yet, no room is left, or the container is another one
    // or was emptied. Nothing is done when nothing has changed. The container notes its changes from the first call on,
    // and may end before this object does. On failure the source is off the second road until the next call.
    bool Publish(LUMTrayService::enumAssetFrom eaf, VOTSAssetNodeContainer& container);

    // Ties the source to its image on the first road: readers take a base while this is the image's update count, or
    // the one that is stored next.
    void NoteImage(LUMTrayService::enumAssetFrom eaf, unsigned int uUpdateCount);

    // Takes one source off.
    void Remove(LUMTrayService::enumAssetFrom eaf);

    Counts CountsOf(LUMTrayService::enumAssetFrom eaf) const;

private:
    struct Sources;
    std::unique_ptr<Sources> m_pSources;
};
