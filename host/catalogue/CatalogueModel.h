// The in-memory form of one loaded catalogue. Internal to host/catalogue.
#pragma once

#include <Defcat/Defcat.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Host {
namespace detail {

struct Catalogue {
    std::string sourceName;
    std::string product;
    // Owns every Defcat object of the catalogue; the objects point at one
    // another with raw pointers, so they all go together.
    std::vector<std::unique_ptr<Defcat::Object>> objects;

    std::map<std::string, Defcat::Feature*> features;
    std::map<std::string, Defcat::Role*> roles;
    std::map<std::string, Defcat::SDKApplication*> applications;
    std::map<std::string, Defcat::ProductFlavor*> flavors;

    // File order, for listings.
    std::vector<Defcat::Role*> roleOrder;
    std::vector<Defcat::SDKApplication*> applicationOrder;
    std::vector<Defcat::ProductFlavor*> flavorOrder;

    Defcat::ProductFlavor* currentFlavor = nullptr;

    template <class T, class... Args> T* Make(Args&&... args) {
        std::unique_ptr<T> object(new T(std::forward<Args>(args)...));
        T* raw = object.get();
        objects.push_back(std::move(object));
        return raw;
    }
};

// Parses and validates json. On success returns the catalogue; on failure
// returns null and sets error to the full message.
std::unique_ptr<Catalogue> ParseCatalogue(std::string const& json, std::string const& sourceName,
                                          std::string& error);

// The catalogue the Defcat look-ups answer from; null when none is loaded.
Catalogue const* CurrentCatalogue();

} // namespace detail
} // namespace Host
