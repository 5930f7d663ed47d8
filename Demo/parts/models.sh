# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The weights: a crucible on the internal drive, one on the drive Vault, links between them, a copy of LM Studio.

# model NAME "FILES BYTES_PER_FILE" PATH
model()
{
    "$demo/Projects/install-models/fetch-weights" "$1" "$2" "$stage/$3"
}

make_models()
{
    local root=.zyn-crucible vault=Volumes/Vault/zyn-crucible tape=Volumes/Tape/zyn-crucible path
    text $root/crucible.toml <<'EOF'
# Names of the folders of a training run.
[layout]
final = "3_final"
adapters = "2_adapters"

[drives]
vault = "copies of all served models"
tape = "finished models, offline"
EOF
    for path in $root/models/zyn-labs/Vantor-7B $vault/models/zyn-labs/Vantor-7B; do
        model zyn-labs/Vantor-7B "3 2000000" "$path/3_final"
        line "$path/1_base/NOTES.md" 'Started from the public base, revision 18.'
        sized_files <<<"800000 $path/2_adapters/adapters.safetensors"
    done
    model zyn-labs/Vantor-Draft "2 1000000" $root/models/zyn-labs/Vantor-Draft/3_final
    model zyn-labs/Vantor-Mini "2 1500000" $vault/models/zyn-labs/Vantor-Mini/3_final
    model zyn-labs/Vantor-Code "1 1500000" $vault/models/zyn-labs/Vantor-Code/3_final
    line $root/eval/facts.jsonl '{"prompt": "Name the tallest tree.", "answer": "Coast redwood"}'
    link .zyn/crucible $root
    link .zyn/served-model $root/models/zyn-labs/Vantor-7B/3_final
    link $root/models/zyn-labs/Vantor-Mini $vault/models/zyn-labs/Vantor-Mini
    # This link can be repaired: the drive was renamed, and the copy is still on it.
    link $root/models/zyn-labs/Vantor-Code "Volumes/Vault 1/zyn-crucible/models/zyn-labs/Vantor-Code"
    # This link cannot be repaired: the drive is absent.
    link $root/models/atlas/Atlas-Embed $tape/models/atlas/Atlas-Embed
    line .lmstudio/settings.json '{"downloadsFolder": "~/.lmstudio/models", "developerMode": false}'
    model zyn-labs/Vantor-7B "3 2000000" .lmstudio/models/zyn-labs/Vantor-7B-4bit
}
