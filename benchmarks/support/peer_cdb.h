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
    explicit CdbPeer(const AssetTree& tree)
    {
        m_path = "/dev/shm/vobase_benchmark_cdb_" + std::to_string(reinterpret_cast<uintptr_t>(this));
        m_nFile = open(m_path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        cdb_make make;
        cdb_make_start(&make, m_nFile);
        for (uint32_t uNode = 1; uNode < tree.vecNode.size(); ++uNode)
        {
            const NarrowKey key(tree.vecNode[uNode].path);
            LUMTrayService::structAssetNode tsNode;
            tsNode.nAssetID = uNode;
            tsNode.ullFileSize = uNode * 3ull;
            if (cdb_make_add(&make, key.szKey, static_cast<unsigned>(key.uLength), &tsNode, sizeof(tsNode)) != 0)
            {
                abort();
            }
        }
        if (cdb_make_finish(&make) != 0 || cdb_init(&m_cdb, m_nFile) != 0)
        {
            abort();
        }
    }

    ~CdbPeer()
    {
        cdb_free(&m_cdb);
        close(m_nFile);
        unlink(m_path.c_str());
    }

    CdbPeer(const CdbPeer&) = delete;
    CdbPeer& operator=(const CdbPeer&) = delete;

    bool Find(const VOWString& path, LUMTrayService::structAssetNode& tsNode) const
    {
        const NarrowKey key(path);
        if (cdb_find(&m_cdb, key.szKey, static_cast<unsigned>(key.uLength)) <= 0)
        {
            return false;
        }
        memcpy(static_cast<void*>(&tsNode), cdb_getdata(&m_cdb), sizeof(tsNode));
        return true;
    }

private:
    mutable cdb m_cdb = {};
    int m_nFile = -1;
    std::string m_path;
};
