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

#include "platform/vo_section_publisher.h"
#include "tray_service_types.h"
#include "vots_file_mapping.h"

namespace lum
{

// An image on its way to a section.
struct SourceImage
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    std::vector<unsigned char> vecBlock;  // the compressed block
};

class Publisher
{
public:
    // Withdraws what is published.
    ~Publisher();

    // Becomes the one publisher. Nothing is touched before. A Failure when another one lives.
    void Acquire();

    // Publishes these sources, and withdraws all others that a former publisher left. After a Failure
    // there is nothing left to do but to withdraw.
    void Publish(const std::vector<SourceImage>& vecImages);

    // Replaces the image of a source that is published. After a Failure the old one stays.
    void PublishSource(const SourceImage& image);

    // Withdraws all sources, and then the sections themselves.
    void Withdraw();

private:
    void _TakeState();
    void _WithdrawSource(LUMTrayService::enumAssetFrom eaf);
    void _WaitForReaders(LUMTrayService::enumAssetFrom eaf);
    AssetNodeStateInfo& _Record(LUMTrayService::enumAssetFrom eaf);

    VOInstanceLock m_lock;
    VOPublishedSection m_state;
    std::array<VOPublishedSection, LUMTrayService::ASSETTYPE_COUNT> m_akData;

    // Reader counts that didn't go down while a whole wait lasted: what dead readers left. They aren't waited for
    // again.
    std::array<unsigned, LUMTrayService::ASSETTYPE_COUNT> m_auLeftReaders{};
};

}  // namespace lum
