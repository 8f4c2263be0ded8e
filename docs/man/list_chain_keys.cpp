// Writes the tables of a chain file and the keys that the reader of such a file takes, with what they may hold.

#include <iterator>

#include "appliance/morvd/chain_keys.h"
#include "docs/man/json_text.h"

static constexpr const char *kind_names[] = {
    "text", "whole", "real", "truth", "texts", "wholes", "reals", "table", "tables",
};
static_assert(std::size(kind_names) == static_cast<size_t>(value_kind::tables) + 1);

static void write_key(const key_rule &rule, bool first)
{
    fputs(first ? "\n    {" : ",\n    {", stdout);
    write_member("name", rule.name);
    fputs(", ", stdout);
    write_member("kind", kind_names[static_cast<size_t>(rule.kind)]);
    printf(", \"low\": %.10g, \"high\": %.10g, ", rule.low, rule.high);
    write_member("unit", rule.unit);
    fputs(", \"words\": [", stdout);
    for (size_t i = 0; i < rule.words.size(); i++) {
        fputs(i > 0 ? ", " : "", stdout);
        write_text(rule.words[i]);
    }
    fputs("]}", stdout);
}

int main()
{
    const char *before = "[\n";
    for (const chain_file_table &table : chain_file_tables()) {
        printf("%s  {", before);
        write_member("place", table.place);
        printf(", \"most\": %zu, \"keys\": [", table.most);
        bool first = true;
        for (std::span<const key_rule> rules : {table.keys, table.further})
            for (const key_rule &rule : rules) {
                write_key(rule, first);
                first = false;
            }
        fputs("]}", stdout);
        before = ",\n";
    }
    puts("\n]");
    return ferror(stdout) || fflush(stdout) ? 1 : 0;
}
