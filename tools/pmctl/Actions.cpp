// Action words and masks for pmctl's input and output.
#include "Actions.h"

#include <PM/ActionMask.h>

#include <strings.h>

namespace Pmctl {

std::vector<ActionName> const& ActionNames() {
    static std::vector<ActionName> const names = {
        {"view", PM::kActionView},     {"create", PM::kActionCreate},
        {"modify", PM::kActionModify}, {"delete", PM::kActionDelete},
        {"print", PM::kActionPrint},   {"viewbal", PM::kActionViewBal},
        {"custom", PM::kActionCustom},
    };
    return names;
}

long ActionMask(std::string const& word) {
    for (ActionName const& action : ActionNames()) {
        if (strcasecmp(action.name, word.c_str()) == 0) {
            return action.mask;
        }
    }
    return 0;
}

std::string DescribeMask(long mask) {
    std::string words;
    for (ActionName const& action : ActionNames()) {
        if ((mask & action.mask) != 0) {
            words += words.empty() ? "" : ",";
            words += action.name;
        }
    }
    return words.empty() ? "none" : words;
}

std::string DescribeGrant(long mask) {
    if ((mask & PM::kActionFull) != PM::kActionFull) {
        return DescribeMask(mask);
    }
    return (mask & PM::kActionCustom) != 0 ? "full,custom" : "full";
}

} // namespace Pmctl
