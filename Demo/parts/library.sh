# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The folder Library: files of the product, and files of other programs with similar names (zynthian, zyn-old, synth).

make_library()
{
    local support='Library/Application Support' state='Library/Saved Application State'
    line "$support/zyn/state.json" '{"lastProject": "zyn-v8", "openPanes": 3}'
    printf '%s/Projects/zyn-v8' "$home" | text "$support/zyn-code-manager/project-dir"
    line "$support/zynthian/presets.json" '{"presets": 12}'
    line Library/Logs/zyn/zyn.log '2026-11-18 08:02:11 [zyn] session opened in ~/Projects/zyn-v8'
    line Library/Logs/zyn/zyn-2026-10.log '2026-10-07 17:41:57 [zyn] session closed after 14 answers'
    line Library/Logs/zyn/mlx-vantor.log '2026-11-18 18:30:02 [mlx-vantor] stopped by signal 15'
    line Library/Logs/zyn/install.log '2026-09-14 10:32:05 [install] zyn 0.4.2 (3f9c2ab41d7e) installed'
    line Library/Logs/zynthian/engine.log 'engine started'
    line tmp/zyn.lock 4711
    line tmp/zyn-old.lock 4712
    property_list "$state/com.zyn.desktop.savedState/windows.plist" '<key>NSWindowFrame</key><string>120 88 1180 760</string>'
    property_list Library/Preferences/com.zyn.desktop.plist '<key>ZynTheme</key><string>paper</string>'
    property_list Library/Preferences/com.zyn.updater.plist '<key>LastCheck</key><date>2026-11-19T06:00:00Z</date>'
    property_list Library/Preferences/zyn.plist '<key>Shell</key><string>/bin/zsh</string>'
    property_list Library/Preferences/com.zynthian.engine.plist '<key>Volume</key><integer>7</integer>'
    property_list Library/Preferences/org.zyn.synth.plist '<key>Volume</key><integer>9</integer>'
    property_list Library/LaunchAgents/org.zyn.synth.plist '<key>Label</key><string>org.zyn.synth</string>'
    property_list "Library/LaunchAgents/$label.plist" "$(agent_entries)"
    make_caches
}

# A property list with one dictionary: property_list PATH ENTRIES
property_list()
{
    text "$1" <<EOF
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
$2
</dict>
</plist>
EOF
}

agent_entries()
{
    local escaped
    escaped=$(printf '%s' "$home" | sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g')
    cat <<EOF
    <key>Label</key> <string>$label</string>
    <key>ProgramArguments</key>
    <array>
        <string>$escaped/.zyn/bin/mlx-vantor</string>
        <string>--model</string> <string>$escaped/.zyn/served-model</string>
        <string>--port</string> <string>$port</string>
    </array>
    <key>WorkingDirectory</key> <string>$escaped/.zyn</string>
    <key>EnvironmentVariables</key>
    <dict><key>HOME</key> <string>$escaped</string> <key>PATH</key> <string>/usr/bin:/bin</string></dict>
    <key>RunAtLoad</key> <true/>
    <key>KeepAlive</key> <dict><key>SuccessfulExit</key> <false/></dict>
    <key>ThrottleInterval</key> <integer>10</integer>
    <key>StandardOutPath</key> <string>$escaped/Library/Logs/zyn/mlx-vantor.log</string>
    <key>StandardErrorPath</key> <string>$escaped/Library/Logs/zyn/mlx-vantor.log</string>
EOF
}

# The folders .cache and tmp are the per-user folders that sample-env.sh sets.
make_caches()
{
    sized_files <<'EOF'
917504 Library/Application Support/zyn/conversations.db
1269760 Library/Application Support/zyn/embeddings/projects.idx
131072 Library/Application Support/zyn-old/backup.db
724992 Library/Caches/com.zyn.desktop/Cache.db
184320 Library/Caches/com.zyn.desktop/fsCachedData/5B0E-1
1146880 Library/Caches/com.zyn.mlx-vantor/kernels/matmul-4bit.bin
2260992 Library/Caches/com.zyn.mlx-vantor/prompts/warm-0001.bin
1605632 Library/Caches/com.zyn.updater/zyn-0.4.2.pkg
65536 Library/Caches/zyn/completions.bin
12288 Library/Caches/zyn.http/index
90112 Library/Caches/com.zynthian.engine/waves.bin
49152 Library/Caches/zyn-old/completions.bin
32768 Library/Caches/org.zyn.synth/patches.bin
94208 Library/HTTPStorages/com.zyn.desktop/httpstorages.sqlite
1187 Library/HTTPStorages/com.zyn.desktop.binarycookies
40960 Library/HTTPStorages/org.zyn.synth/httpstorages.sqlite
57344 Library/WebKit/com.zyn.desktop/WebsiteData/LocalStorage/localstorage.sqlite3
151552 Library/WebKit/com.zyn.desktop/WebsiteData/IndexedDB/metadata.db
36864 Library/Saved Application State/com.zyn.desktop.savedState/data.data
20480 Library/Saved Application State/com.zynthian.engine.savedState/data.data
208896 .cache/com.zyn.desktop/shaders.bin
73728 .cache/zyn/completions.bin
61440 .cache/zynthian/waves.bin
27345 tmp/com.zyn.desktop.scratch/page-7.png
EOF
}
