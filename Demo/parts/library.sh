# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The per-user library: what the product keeps there, beside neighbours that only look like it.

make_library()
{
    make_support
    make_logs
    make_caches
    make_web_data
    make_preferences
    make_agents
    make_temporary
}

make_support()
{
    local support='Library/Application Support'
    bytes 202611182107 "$support/zyn/conversations.db" 917504
    printf '{"lastProject": "zyn-v8", "openPanes": 3}\n' | text 202611191744 "$support/zyn/state.json"
    bytes 202607081501 "$support/zyn/embeddings/projects.idx" 1269760
    printf '%s/Projects/zyn-v8' "$home" | text 202609141044 "$support/zyn-code-manager/project-dir"
    printf '{"presets": 12}\n' | text 202603030930 "$support/zynthian/presets.json"
    bytes 202512110815 "$support/zyn-old/backup.db" 131072
}

log_day()
{
    local day=$1 hour
    for hour in 08 11 14 17; do
        printf '%s %s:02:11 [zyn] session opened in ~/Projects/zyn-v8\n' "$day" "$hour"
        printf '%s %s:02:12 [zyn] provider mlx at http://127.0.0.1:%s\n' "$day" "$hour" "$port"
        printf '%s %s:41:57 [zyn] session closed after 14 answers\n' "$day" "$hour"
    done
}

server_days()
{
    local day model="zyn-labs/Vantor-7B (3 weight files, 6000000 bytes)"
    for day in 2026-11-16 2026-11-17 2026-11-18; do
        printf '%s 08:01:40 [mlx-vantor] serving %s from %s\n' "$day" "$model" \
            "$home/.zyn-crucible/models/zyn-labs/Vantor-7B/3_final"
        printf '%s 08:01:40 [mlx-vantor] listening on http://127.0.0.1:%s\n' "$day" "$port"
        printf '%s 08:02:13 [mlx-vantor] GET /v1/models 200\n' "$day"
        printf '%s 18:30:02 [mlx-vantor] stopped by signal 15\n' "$day"
    done
}

make_logs()
{
    local logs=Library/Logs/zyn
    { log_day 2026-11-17 && log_day 2026-11-18; } | text 202611181830 $logs/zyn.log
    { log_day 2026-10-05 && log_day 2026-10-06 && log_day 2026-10-07; } | text 202610071830 $logs/zyn-2026-10.log
    server_days | text 202611181830 $logs/mlx-vantor.log
    printf '2026-09-14 10:32:05 [install] zyn 0.4.2 (3f9c2ab41d7e) installed\n' | text 202609141032 $logs/install.log
    printf 'a neighbour\n' | text 202604040404 Library/Logs/zynthian/engine.log
}

make_caches()
{
    local caches=Library/Caches
    bytes 202611191003 $caches/com.zyn.desktop/Cache.db 724992
    bytes 202611191003 $caches/com.zyn.desktop/fsCachedData/5B0E-1 184320
    bytes 202611170926 $caches/com.zyn.mlx-vantor/kernels/matmul-4bit.bin 1146880
    bytes 202610220814 $caches/com.zyn.mlx-vantor/prompts/warm-0001.bin 2260992
    bytes 202609141031 $caches/com.zyn.updater/zyn-0.4.2.pkg 1605632
    bytes 202611080911 $caches/zyn/completions.bin 65536
    bytes 202605161217 $caches/zyn.http/index 12288
    bytes 202603091812 $caches/com.zynthian.engine/waves.bin 90112
    bytes 202512110815 $caches/zyn-old/completions.bin 49152
    bytes 202606060606 $caches/org.zyn.synth/patches.bin 32768
}

make_web_data()
{
    bytes 202611181955 Library/HTTPStorages/com.zyn.desktop/httpstorages.sqlite 94208
    bytes 202611181955 Library/HTTPStorages/com.zyn.desktop.binarycookies 1187
    bytes 202606060606 Library/HTTPStorages/org.zyn.synth/httpstorages.sqlite 40960
    bytes 202611181956 Library/WebKit/com.zyn.desktop/WebsiteData/LocalStorage/localstorage.sqlite3 57344
    bytes 202610111212 Library/WebKit/com.zyn.desktop/WebsiteData/IndexedDB/metadata.db 151552
    bytes 202611181957 'Library/Saved Application State/com.zyn.desktop.savedState/data.data' 36864
    bytes 202603091812 'Library/Saved Application State/com.zynthian.engine.savedState/data.data' 20480
    printf '    <key>NSWindowFrame</key>\n    <string>{{120, 88}, {1180, 760}}</string>\n' | property_list \
        | text 202611181957 'Library/Saved Application State/com.zyn.desktop.savedState/windows.plist'
}

# The desktop app's own is binary, as the product writes it.
make_preferences()
{
    local preferences=Library/Preferences
    folder_for $preferences/com.zyn.desktop.plist
    "$tools/zyn" preferences "$stage/$preferences/com.zyn.desktop.plist"
    dated 202611191745 "$preferences/com.zyn.desktop.plist"
    printf '    <key>LastCheck</key>\n    <date>2026-11-19T06:00:00Z</date>\n' | property_list \
        | text 202611190600 $preferences/com.zyn.updater.plist
    printf '    <key>Shell</key>\n    <string>/bin/zsh</string>\n' | property_list \
        | text 202605110741 $preferences/zyn.plist
    printf '    <key>Volume</key>\n    <integer>7</integer>\n' | property_list \
        | text 202603091812 $preferences/com.zynthian.engine.plist
    printf '    <key>Volume</key>\n    <integer>9</integer>\n' | property_list \
        | text 202606060606 $preferences/org.zyn.synth.plist
}

make_agents()
{
    agent_entries | property_list | text 202609141033 "Library/LaunchAgents/$label.plist"
    printf '    <key>Label</key>\n    <string>org.zyn.synth</string>\n    <key>Disabled</key>\n    <true/>\n' \
        | property_list | text 202606060606 Library/LaunchAgents/org.zyn.synth.plist
}

# The per-user folders for caches and temporary files, where sample-env.sh puts them.
make_temporary()
{
    bytes 202611191101 .cache/com.zyn.desktop/shaders.bin 208896
    bytes 202611080911 .cache/zyn/completions.bin 73728
    bytes 202603091812 .cache/zynthian/waves.bin 61440
    bytes 202611191820 tmp/com.zyn.desktop.scratch/page-7.png 27345
    printf '4711\n' | text 202611191820 tmp/zyn.lock
    printf 'a neighbour\n' | text 202611191820 tmp/zyn-old.lock
}
