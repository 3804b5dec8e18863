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
    explicit LmdbPeer(const AssetTree& tree)
    {
        mdb_env_create(&m_pEnv);
        mdb_env_set_mapsize(m_pEnv, 4ull << 30);
        m_path = "/dev/shm/vobase_benchmark_lmdb_" + std::to_string(reinterpret_cast<uintptr_t>(this));
        Check(mdb_env_open(m_pEnv, m_path.c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_WRITEMAP | MDB_NOLOCK, 0600));
        MDB_txn* pTxn = nullptr;
        Check(mdb_txn_begin(m_pEnv, nullptr, 0, &pTxn));
        Check(mdb_dbi_open(pTxn, nullptr, 0, &m_uDbi));
        for (uint32_t uNode = 1; uNode < tree.vecNode.size(); ++uNode)
        {
            const NarrowKey key(tree.vecNode[uNode].path);
            LUMTrayService::structAssetNode tsNode;
            tsNode.nAssetID = uNode;
            tsNode.ullFileSize = uNode * 3ull;
            MDB_val keyValue = {key.uLength, const_cast<char*>(key.szKey)};
            MDB_val data = {sizeof(tsNode), &tsNode};
            Check(mdb_put(pTxn, m_uDbi, &keyValue, &data, 0));
        }
        Check(mdb_txn_commit(pTxn));
        Check(mdb_txn_begin(m_pEnv, nullptr, MDB_RDONLY, &m_pRead));
    }

    ~LmdbPeer()
    {
        mdb_txn_abort(m_pRead);
        mdb_env_close(m_pEnv);
        remove(m_path.c_str());
    }

    LmdbPeer(const LmdbPeer&) = delete;
    LmdbPeer& operator=(const LmdbPeer&) = delete;

    bool Find(const VOWString& path, LUMTrayService::structAssetNode& tsNode) const
    {
        const NarrowKey key(path);
        MDB_val keyValue = {key.uLength, const_cast<char*>(key.szKey)};
        MDB_val data;
        if (mdb_get(m_pRead, m_uDbi, &keyValue, &data) != 0)
        {
            return false;
        }
        memcpy(static_cast<void*>(&tsNode), data.mv_data, sizeof(tsNode));
        return true;
    }

    template <typename Visit>
    void Walk(Visit&& visit) const
    {
        MDB_cursor* pCursor = nullptr;
        Check(mdb_cursor_open(m_pRead, m_uDbi, &pCursor));
        MDB_val key;
        MDB_val data;
        while (mdb_cursor_get(pCursor, &key, &data, MDB_NEXT) == 0)
        {
            LUMTrayService::structAssetNode tsNode;
            memcpy(static_cast<void*>(&tsNode), data.mv_data, sizeof(tsNode));
            visit(tsNode);
        }
        mdb_cursor_close(pCursor);
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

    MDB_env* m_pEnv = nullptr;
    MDB_txn* m_pRead = nullptr;
    MDB_dbi m_uDbi = 0;
    std::string m_path;
};
