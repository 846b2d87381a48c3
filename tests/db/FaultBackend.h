// A backend that forwards every call to a real one and fails the Nth call of a chosen operation, as a
// database that fills up or loses its connection in the middle of a file would.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "db/DBBackend.h"

class cFaultBackend : public cDBBackend {
public:
    enum eOp { OP_EXECUTE, OP_QUERY, OP_BEGIN, OP_COMMIT, OP_ROLLBACK, OP_INSERT, OP_COUNT };

    // Takes ownership of `inner`. Fails the `at`th call (from 1) of `op` after Arm(); none when `at` is 0.
    cFaultBackend(cDBBackend* inner, eOp op, uint64_t at) : mInner(inner), mOp(op), mAt(at) {}

    eDBEngine Engine() const override { return mInner->Engine(); }
    const std::string& Name() const override { return mInner->Name(); }
    bool Execute(const std::string& sql) override { return !Fails(OP_EXECUTE) && mInner->Execute(sql); }
    bool Query(const std::string& sql, std::vector<std::vector<std::string>>& rows) override {
        return !Fails(OP_QUERY) && mInner->Query(sql, rows);
    }
    bool Begin() override { return !Fails(OP_BEGIN) && mInner->Begin(); }
    bool Commit() override { return !Fails(OP_COMMIT) && mInner->Commit(); }
    bool Rollback() override { return !Fails(OP_ROLLBACK) && mInner->Rollback(); }
    bool Insert(const sTableDef& table, const sValue* values) override {
        return !Fails(OP_INSERT) && mInner->Insert(table, values);
    }
    const std::string& Error() const override { return mInjected ? mError : mInner->Error(); }

    // Counts calls from now on.
    void Arm() {
        mArmed = true;
        std::fill(mCalls, mCalls + OP_COUNT, 0);
    }

    uint64_t mCalls[OP_COUNT] = {};
    std::function<void(eOp)> mBefore;  // runs before each call, when set

private:
    bool Fails(eOp op) {
        if (mBefore) {
            mBefore(op);
        }
        mInjected = ++mCalls[op] == mAt && op == mOp && mArmed;
        if (mInjected) {
            mError = Name() + ": injected fault";
        }
        return mInjected;
    }

    std::unique_ptr<cDBBackend> mInner;
    eOp mOp;
    uint64_t mAt;
    bool mArmed = false;
    bool mInjected = false;
    std::string mError;
};
