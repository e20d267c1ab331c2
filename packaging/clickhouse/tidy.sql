-- Clears what is no part of any answer, on one server of several that share the rows (schema-shards.sql): each host's volumes
-- lie on one of them, with their lines. On each, now and then, at best at night:
--
--     clickhouse-client --database=kestrel --multiquery < tidy.sql
--
-- With the tables of schema.sql `kestrel publish` does this itself. What runs is shown by system.mutations.

-- Lines first: what has none is not there. Of each root the last two whole scans stay, and the newest publication in any
-- case; who publishes with another --keep writes that number here. A scan that was published twice counts twice, so that an
-- earlier one may go a little sooner.
ALTER TABLE snapshots_local DELETE WHERE (host, volume, root, publication) NOT IN (
    SELECT host, volume, root, publication FROM snapshots_local WHERE complete = 1
    ORDER BY publication DESC LIMIT 2 BY host, volume, root
) AND (host, volume, root, publication) NOT IN (
    SELECT host, volume, root, max(publication) FROM snapshots_local GROUP BY host, volume, root
);

-- Rows without a line, but for those of a publication that may still be at work: it began less than a day ago.
ALTER TABLE files_local DELETE WHERE bitShiftRight(publication, 32) < toUInt32(now()) - 86400
    AND (host, volume, publication) NOT IN (SELECT host, volume, publication FROM snapshots_local);
ALTER TABLE folders_local DELETE WHERE bitShiftRight(publication, 32) < toUInt32(now()) - 86400
    AND (host, volume, publication) NOT IN (SELECT host, volume, publication FROM snapshots_local);
ALTER TABLE suggestions_local DELETE WHERE bitShiftRight(publication, 32) < toUInt32(now()) - 86400
    AND (host, volume, publication) NOT IN (SELECT host, volume, publication FROM snapshots_local);
