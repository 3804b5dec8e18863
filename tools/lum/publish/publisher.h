// The publisher's side of the asset sections: who writes what, in which order.
//
// Every source has a data section with one compressed image, and a record in the update state section. A reader raises
// the record's reader count, reads the data section, and lowers the count again; the publisher changes a data section
// only while the count says that nobody is inside, and tells of the change afterwards by the update count.
//
// One publisher serves a user at a time. Started after one that was killed, it takes over the sections that are there.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/vo_owners.h"
#include "platform/vo_section_publisher.h"
#include "tray_service_types.h"
#include "vo_publisher.h"
#include "vots_file_mapping.h"

namespace lum
{

typedef std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, VOFreeBlock> AssetImage;

// An image on its way to a section.
struct SourceImage
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    std::vector<unsigned char> vecBlock;  // the compressed block
};

// Makes the block of an image. False when it is too large for one.
bool CompressImage(const AssetImage& pImage, std::vector<unsigned char>* pvecBlock);

class Publisher
{
public:
    // road: told of each image before its readers are. It outlives this object.
    explicit Publisher(VORoadPublisher& road) : m_road(road) {}

    // Withdraws what is published.
    ~Publisher();

    // Becomes the one publisher. Nothing is touched before. False with a message when another one lives.
    bool Acquire(std::string* pstrError);

    // Publishes these sources, and withdraws all others that a former publisher left. On failure everything is
    // withdrawn again.
    bool Publish(const std::vector<SourceImage>& vecImages, std::string* pstrError);

    // Replaces the image of a source that is published. On failure the old one stays.
    bool PublishSource(const SourceImage& image, std::string* pstrError);

    // Withdraws all sources, and then the sections themselves.
    void Withdraw();

private:
    bool _TakeState(std::string* pstrError);
    void _WithdrawSource(LUMTrayService::enumAssetFrom eaf);
    void _WaitForReaders(LUMTrayService::enumAssetFrom eaf);
    AssetNodeStateInfo& _Record(LUMTrayService::enumAssetFrom eaf);

    VORoadPublisher& m_road;
    VOInstanceLock m_lock;
    VOPublishedSection m_state;
    std::array<VOPublishedSection, LUMTrayService::ASSETTYPE_COUNT> m_akData;

    // Reader counts that didn't go down while a whole wait lasted: what dead readers left. They aren't waited for
    // again.
    std::array<unsigned, LUMTrayService::ASSETTYPE_COUNT> m_auLeftReaders{};
};

}  // namespace lum
