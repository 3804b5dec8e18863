// A publisher's second road: beside the compressed images, the plain image of each source in a section that readers map
// as it is, and a log of what changes in it. Readers that are built with this library take it by themselves.
//
// File events go the same way: what was told in a ring is delivered within milliseconds.
//
// A publisher may do without. One that doesn't: Open, then for each source Publish with the container that it makes its
// images from, and NoteImage right before each store of the source's update count; Publish again whenever something has
// changed in the container, as often as it likes, and PublishEvents with the container of its events; Remove for a
// source that it withdraws.
#pragma once

#include <memory>

#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_asset_node_container.h"
#include "vots_file_event.h"

class VORoadGeneration;
class VOSourceRoad;

// What was published of a source when it was taken. An image of that state can be made while the container changes: in
// large trees that takes a second, and changes needn't wait for it. One thread at a time, also another than the
// publisher's; it may outlive that one.
class VOBASE_API VORoadSnapshot
{
public:
    ~VORoadSnapshot();
    VORoadSnapshot(const VORoadSnapshot&) = delete;
    VORoadSnapshot& operator=(const VORoadSnapshot&) = delete;

    // A new image, to the byte what GetAlloc of the container would have given; released with free(). Null when it or a
    // block of it would have more than 4 GiB, or the base was damaged. Throws std::bad_alloc.
    VOTSAssetNodeContainer::ContainerAlloc* MakeImage();

private:
    friend class VOSourceRoad;
    VORoadSnapshot();

    std::unique_ptr<VORoadGeneration> m_pGeneration;
    unsigned long long m_ullWritten = 0;  // bytes of its log
};

// One thread at a time, and the containers aren't changed meanwhile; NoteImage on any. What returns false leaves
// a value in the system's last error, and readers on the first road. Only the constructor, Open and TakeSnapshot throw
// std::bad_alloc.
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

    // Listeners are told of those events in the container whose times are above those that were told of before. To be
    // called when what they tell of is readable by Publish; and right before each store of an update time of the
    // source's events on the first road, with that time and the container of the image, so that listeners know that
    // they have been told of all that is in there. Otherwise ullTime is that of the container's last event. Times rise,
    // and are the same on both roads. False for a source that isn't on the second road: its listeners take the first
    // one, on which all events are published too.
    bool PublishEvents(LUMTrayService::enumAssetFrom eaf, VOTSFileEventContainer& container,
                       unsigned long long ullTime);

    // Ties the source to its image on the first road: readers take a base while this is the image's update count, or
    // the one that is stored next.
    void NoteImage(LUMTrayService::enumAssetFrom eaf, unsigned int uUpdateCount);

    // What is published of a source now; costs no more than opening two sections. Null for one that isn't on the second
    // road.
    std::unique_ptr<VORoadSnapshot> TakeSnapshot(LUMTrayService::enumAssetFrom eaf) const;

    // Takes one source off.
    void Remove(LUMTrayService::enumAssetFrom eaf);

    Counts CountsOf(LUMTrayService::enumAssetFrom eaf) const;

private:
    struct Sources;
    std::unique_ptr<Sources> m_pSources;
};
