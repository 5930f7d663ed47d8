# shellcheck shell=bash disable=SC2154 # variables of Demo/make
# The source projects with their scripts, the models that come with them, and the databases.

make_projects()
{
    cp -R "$demo/Projects" "$stage/Projects"
    program 202609010900 Projects/install-models/tools/fetch-weights fetch-weights
    bundled_model zyn-hub/zyn-labs/Vantor-7B-4bit zyn-labs/Vantor-7B 3 2000000
    bundled_model zyn-labs/Vantor-Draft-8bit zyn-labs/Vantor-Draft 2 1000000
    make_databases
}

# Weights that lie beside the catalog, so that installing them downloads nothing.
bundled_model()
{
    folder_for "Projects/Models/$1"
    "$tools/fetch-weights" model "$2" "$3" "$4" "$stage/Projects/Models/$1"
}

make_databases()
{
    local sources=Projects/databases
    bytes 202608111230 $sources/orchid/segments/0001.bin 1843200
    bytes 202609251107 $sources/orchid/segments/0002.bin 630784
    bytes 202610180917 $sources/quill/quill.db 811008
    mkdir -p "$stage/.zyn/databases"
    cp -R "$demo/$sources/orchid" "$stage/.zyn/databases/orchid"
    bytes 202608111230 .zyn/databases/orchid/segments/0001.bin 1843200
    bytes 202609251107 .zyn/databases/orchid/segments/0002.bin 630784
}
