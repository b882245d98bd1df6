// pmctl: the administrator's tool over company files. For now it offers the
// demo of what the library can answer without a company file.
#include <PM/ActionMask.h>
#include <PM/EntitlementDef.h>
#include <PM/PermissionManager.h>

#include <cstdio>
#include <cstring>

namespace {

char const* YesNo(bool value) {
    return value ? "yes" : "no";
}

int RunDemo() {
    std::printf("Permission manager demo\n\n");
    PM_InitComponent();
    PM::PermissionManager& manager = PM::PermissionManager::GetThePermissionManager();

    std::printf("With no user established every question is answered yes:\n");
    std::printf("  may view entitlement 109?            %s\n",
                YesNo(manager.IsAccessAllowed(109, PM::kActionView)));
    std::printf("  may delete entitlement 5?            %s\n",
                YesNo(manager.IsAccessAllowed(5, PM::kActionDelete)));
    std::printf("  full access to entitlement -1?       %s\n\n", YesNo(manager.IsFullAccess(-1)));

    std::printf("Action masks as an entitlement record reads them:\n");
    std::printf("  %-6s %-6s %-6s %-6s %-8s\n", "mask", "none", "any", "full", "custom");
    long const masks[] = {0, 17, 63, 64, 127};
    for (long mask : masks) {
        PM::EntitlementDef record;
        record.SetAction(static_cast<int>(mask));
        std::printf("  %-6ld %-6s %-6s %-6s %-8s\n", mask, YesNo(record.IsActionNone()),
                    YesNo(record.IsActionAny()), YesNo(record.IsActionFull()),
                    YesNo(record.IsActionCustom()));
    }

    PM_UninitComponent();
    std::printf("\nDone.\n");
    return 0;
}

void PrintUsage(std::FILE* out) {
    std::fprintf(out, "usage: pmctl demo\n");
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "demo") == 0) {
        return RunDemo();
    }
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        PrintUsage(stdout);
        return 0;
    }
    if (argc >= 2) {
        std::fprintf(stderr, "pmctl: unknown command '%s'\n", argv[1]);
    }
    PrintUsage(stderr);
    return 2;
}
