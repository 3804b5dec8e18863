// LMDB as a peer: the same key normalisation, the key as 8-bit text, the record of 108 bytes as value. The environment
// lies in memory and is never synced, which is its fastest form.
#pragma once

#include <lmdb.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "benchmarks/support/asset_tree.h"
#include "benchmarks/support/narrow_key.h"
#include "tray_service_types.h"

class LmdbPeer
{
public:
    explicit LmdbPeer(const AssetTree& rkTree)
    {
        mdb_env_create(&m_pkEnv);
        mdb_env_set_mapsize(m_pkEnv, 4ull << 30);
        m_kPath = "/dev/shm/vobase_benchmark_lmdb_" + std::to_string(reinterpret_cast<uintptr_t>(this));
        Check(mdb_env_open(m_pkEnv, m_kPath.c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_WRITEMAP | MDB_NOLOCK, 0600));
        MDB_txn* pkTxn = nullptr;
        Check(mdb_txn_begin(m_pkEnv, nullptr, 0, &pkTxn));
        Check(mdb_dbi_open(pkTxn, nullptr, 0, &m_uDbi));
        for (uint32_t uNode = 1; uNode < rkTree.vecNode.size(); ++uNode)
        {
            const NarrowKey kKey(rkTree.vecNode[uNode].kPath);
            LUMTrayService::structAssetNode tsNode;
            tsNode.nAssetID = uNode;
            tsNode.ullFileSize = uNode * 3ull;
            MDB_val kKeyValue = {kKey.uLength, const_cast<char*>(kKey.szKey)};
            MDB_val kData = {sizeof(tsNode), &tsNode};
            Check(mdb_put(pkTxn, m_uDbi, &kKeyValue, &kData, 0));
        }
        Check(mdb_txn_commit(pkTxn));
        Check(mdb_txn_begin(m_pkEnv, nullptr, MDB_RDONLY, &m_pkRead));
    }

    ~LmdbPeer()
    {
        mdb_txn_abort(m_pkRead);
        mdb_env_close(m_pkEnv);
        remove(m_kPath.c_str());
    }

    LmdbPeer(const LmdbPeer&) = delete;
    LmdbPeer& operator=(const LmdbPeer&) = delete;

    bool Find(const VOWString& kPath, LUMTrayService::structAssetNode& tsNode) const
    {
        const NarrowKey kKey(kPath);
        MDB_val kKeyValue = {kKey.uLength, const_cast<char*>(kKey.szKey)};
        MDB_val kData;
        if (mdb_get(m_pkRead, m_uDbi, &kKeyValue, &kData) != 0)
        {
            return false;
        }
        memcpy(static_cast<void*>(&tsNode), kData.mv_data, sizeof(tsNode));
        return true;
    }

    template <typename Visit>
    void Walk(Visit&& kVisit) const
    {
        MDB_cursor* pkCursor = nullptr;
        Check(mdb_cursor_open(m_pkRead, m_uDbi, &pkCursor));
        MDB_val kKey;
        MDB_val kData;
        while (mdb_cursor_get(pkCursor, &kKey, &kData, MDB_NEXT) == 0)
        {
            LUMTrayService::structAssetNode tsNode;
            memcpy(static_cast<void*>(&tsNode), kData.mv_data, sizeof(tsNode));
            kVisit(tsNode);
        }
        mdb_cursor_close(pkCursor);
    }

private:
    static void Check(int nResult)
    {
        if (nResult != 0)
        {
            fprintf(stderr, "lmdb: %s\n", mdb_strerror(nResult));
            abort();
        }
    }

    MDB_env* m_pkEnv = nullptr;
    MDB_txn* m_pkRead = nullptr;
    MDB_dbi m_uDbi = 0;
    std::string m_kPath;
};
