// tinycdb as a peer: a constant database in one file in memory, with the same keys and records as the LMDB peer.
#pragma once

#include <cdb.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "benchmarks/support/asset_tree.h"
#include "benchmarks/support/narrow_key.h"
#include "tray_service_types.h"

class CdbPeer
{
public:
    explicit CdbPeer(const AssetTree& rkTree)
    {
        m_kPath = "/dev/shm/vobase_benchmark_cdb_" + std::to_string(reinterpret_cast<uintptr_t>(this));
        m_nFile = open(m_kPath.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        cdb_make kMake;
        cdb_make_start(&kMake, m_nFile);
        for (uint32_t uNode = 1; uNode < rkTree.vecNode.size(); ++uNode)
        {
            const NarrowKey kKey(rkTree.vecNode[uNode].kPath);
            LUMTrayService::structAssetNode tsNode;
            tsNode.nAssetID = uNode;
            tsNode.ullFileSize = uNode * 3ull;
            if (cdb_make_add(&kMake, kKey.szKey, static_cast<unsigned>(kKey.uLength), &tsNode, sizeof(tsNode)) != 0)
            {
                abort();
            }
        }
        if (cdb_make_finish(&kMake) != 0 || cdb_init(&m_kCdb, m_nFile) != 0)
        {
            abort();
        }
    }

    ~CdbPeer()
    {
        cdb_free(&m_kCdb);
        close(m_nFile);
        unlink(m_kPath.c_str());
    }

    CdbPeer(const CdbPeer&) = delete;
    CdbPeer& operator=(const CdbPeer&) = delete;

    bool Find(const VOWString& kPath, LUMTrayService::structAssetNode& tsNode) const
    {
        const NarrowKey kKey(kPath);
        if (cdb_find(&m_kCdb, kKey.szKey, static_cast<unsigned>(kKey.uLength)) <= 0)
        {
            return false;
        }
        memcpy(static_cast<void*>(&tsNode), cdb_getdata(&m_kCdb), sizeof(tsNode));
        return true;
    }

private:
    mutable cdb m_kCdb = {};
    int m_nFile = -1;
    std::string m_kPath;
};
