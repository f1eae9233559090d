#include "platform/store/ManagedObjectID.h"

#include <atomic>
#include <cstdio>
#include <random>
#include <tuple>

#include "platform/store/EntityDescription.h"

namespace dovrel::store {

std::string uuidString(const StoreUUID& uuid) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(kDigits[uuid[i] >> 4]);
        text.push_back(kDigits[uuid[i] & 0xF]);
    }
    return text;
}

bool parseUUID(const std::string& text, StoreUUID& uuid) {
    if (text.size() != 36) {
        return false;
    }
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') {
                return false;
            }
            ++i;
            continue;
        }
        auto nibble = [](char c) -> int {
            if (c >= '0' && c <= '9')
                return c - '0';
            if (c >= 'a' && c <= 'f')
                return c - 'a' + 10;
            if (c >= 'A' && c <= 'F')
                return c - 'A' + 10;
            return -1;
        };
        const int high = nibble(text[i]);
        const int low = nibble(text[i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        uuid[byte++] = static_cast<std::uint8_t>(high << 4 | low);
        i += 2;
    }
    return byte == uuid.size();
}

StoreUUID makeRandomUUID() {
    std::random_device device;
    StoreUUID uuid;
    for (auto& byte : uuid) {
        byte = static_cast<std::uint8_t>(device());
    }
    uuid[6] = (uuid[6] & 0x0F) | 0x40;  // version 4
    uuid[8] = (uuid[8] & 0x3F) | 0x80;  // RFC 4122 variant
    return uuid;
}

ManagedObjectID ManagedObjectID::permanent(const EntityDescription& entity, const StoreUUID& store,
                                           std::int64_t primaryKey) {
    ManagedObjectID id;
    id.entity_ = &entity;
    id.store_ = store;
    id.key_ = primaryKey;
    return id;
}

ManagedObjectID ManagedObjectID::temporary(const EntityDescription& entity) {
    static std::atomic<std::int64_t> next{1};
    ManagedObjectID id;
    id.entity_ = &entity;
    id.key_ = next.fetch_add(1);
    id.temporary_ = true;
    return id;
}

std::string ManagedObjectID::uriRepresentation() const {
    if (temporary_) {
        return "x-dovrel:///" + entity_->name() + "/t" + std::to_string(key_);
    }
    return "x-dovrel://" + uuidString(store_) + "/" + entity_->name() + "/p" + std::to_string(key_);
}

bool operator<(const ManagedObjectID& lhs, const ManagedObjectID& rhs) {
    if (lhs.temporary_ != rhs.temporary_) {
        return rhs.temporary_;
    }
    return std::tie(lhs.store_, lhs.entity_->name(), lhs.key_) <
           std::tie(rhs.store_, rhs.entity_->name(), rhs.key_);
}

}  // namespace dovrel::store
