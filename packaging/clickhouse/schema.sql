-- What `kestrel publish` fills and `kestrel fleet` asks, on one ClickHouse server. As its administrator:
--
--     clickhouse-client --query 'CREATE DATABASE kestrel'
--     clickhouse-client --database=kestrel --multiquery < schema.sql
--
-- Old releases, 18.16 among them, want --allow_experimental_low_cardinality_type=1 as well; current ones don’t know it.
--
-- Only what releases from 18.16 on take. Run again it changes nothing.

-- A line for each publication, written when all its rows are there: rows without one don't count. The newest line of a
-- host, volume and root holds; a volume may be published in parts, whose roots don't lie in each other.
CREATE TABLE IF NOT EXISTS snapshots (
    host String,
    volume String,
    root String,             -- the folder that was scanned
    publication UInt64,      -- its number: seconds since 1970 of when it began, times 2^32, and a random number
    snapshot String,         -- the scan's identifier, a UUID
    generation Int64,        -- the scan's number in the history of the machine that published it
    origin String,           -- 'scan', 'import', or 'removal': a scan without what was removed since
    started DateTime,        -- of the scan; from 1970 to 2106, as all dates of this type
    completed DateTime,
    published DateTime,
    complete UInt8,          -- 0: the scan ended early
    has_files UInt8,         -- 1: `files` has all items; 0: only `folders` and `suggestions` have rows
    items UInt64,            -- records of the scan
    folders UInt64,          -- rows in `folders`
    bytes Int64,             -- on disk, of all of it
    issues UInt64,           -- places that could not be read
    kestrel String,          -- the version that published it
    keep UInt32              -- how many publications of this host, volume and root were asked to be kept
) ENGINE = MergeTree ORDER BY (host, volume, root, publication);

-- Every item of a scan, where it was published with --files.
--
-- The path is concat(if(dir = '/', '', dir), '/', name), but for rows with the flag 128, whose path is `name` alone.
-- flags: 1 hidden, 2 content in the cloud, 4 a further link to a file that counts elsewhere, 8 has `device` and `inode`,
-- 16 has `modified`, 32 lies in a folder (all but the top of the scan), 64 is shown as `label` and not as `name`,
-- 128 `name` is the whole path, 256 the folder that it names as its own is `parent` and not `dir`.
CREATE TABLE IF NOT EXISTS files (
    host String,
    volume String,
    publication UInt64,
    dir LowCardinality(String),  -- each folder once a block: searches look at it once
    name String,
    label String,            -- the name that is shown where it is another (flag 64); mostly empty
    parent String,           -- with the flag 256; mostly empty
    extension String,        -- lower case, without the dot
    kind Enum8('file' = 0, 'directory' = 1, 'package' = 2, 'symbolic link' = 3, 'other' = 4),
    size Int64,              -- length of the content
    allocated Int64,         -- on disk, of the item itself
    display Int64,           -- what is shown: on disk, of folders and packages with all that is in them
    modified Float64,        -- seconds since 2001-01-01 UTC: toDateTime(modified + 978307200)
    device UInt64,
    inode UInt64,
    links UInt32,            -- how many names in the scan lead to this file
    flags UInt16,
    risk Enum8('normal' = 0, 'caution' = 1, 'high' = 2, 'blocked' = 3),
    text_class UInt8,        -- for searches: 0 the name is ASCII, 1 it is not, 2 has another path or shows another name
    name_key String,         -- in which a search finds bytes; empty where lower(name) will do, but for class 2
    path_key LowCardinality(String)  -- the same of `dir`; of class 2 always written, and of the whole path
) ENGINE = MergeTree
PARTITION BY cityHash64(host, volume) % 16
ORDER BY (host, volume, publication, dir, name);

-- Every folder and package with the sums of what lies below it.
CREATE TABLE IF NOT EXISTS folders (
    host String,
    volume String,
    publication UInt64,
    path String,
    parent String,           -- '' of the top
    depth UInt16,            -- 0 of the top, 1 of what lies in it
    items UInt64,            -- at any depth
    files UInt64,            -- of these files with content, links and sockets left out
    bytes Int64,             -- on disk, of the folder with all that is in it
    oldest DateTime,         -- change of a file; 0 (1970) where no date is known
    newest DateTime,
    changed_30_days Int64,   -- bytes of files by their last change before the scan ended
    changed_90_days Int64,
    changed_year Int64,
    changed_3_years Int64,
    changed_earlier Int64,   -- or not known when
    photos Int64,            -- bytes of files by what they are
    videos Int64,
    music Int64,
    documents Int64,
    archives Int64,
    code Int64,
    applications Int64,      -- with all that lies in them
    disk_images Int64,
    databases Int64,
    others Int64
) ENGINE = MergeTree
PARTITION BY cityHash64(host, volume) % 16
ORDER BY (host, volume, publication, path);

-- What `kestrel suggest` tells of a scan, rule by rule.
CREATE TABLE IF NOT EXISTS suggestions (
    host String,
    volume String,
    publication UInt64,
    rule String,             -- its identifier
    title String,
    certainty String,        -- 'regenerates', 'downloads again' or 'yours'
    items UInt64,
    bytes Int64              -- what comes free
) ENGINE = MergeTree ORDER BY (host, volume, publication, rule);

-- What `kestrel` asks before anything else.
CREATE VIEW IF NOT EXISTS schema_version AS SELECT 1 AS version;

-- Views.

-- The publications that hold: of each host, volume and root the newest.
CREATE VIEW IF NOT EXISTS current AS
SELECT * FROM snapshots
WHERE (host, volume, root, publication) GLOBAL IN (
    SELECT host, volume, root, max(publication) FROM snapshots GROUP BY host, volume, root
);

-- The same of whole scans alone: what one that ended early did not reach would look as if it were gone.
CREATE VIEW IF NOT EXISTS current_whole AS
SELECT * FROM snapshots
WHERE (host, volume, root, publication) GLOBAL IN (
    SELECT host, volume, root, max(publication) FROM snapshots WHERE complete = 1 GROUP BY host, volume, root
);

-- The whole ones before these, of each the newest of another scan: what growth is measured from.
CREATE VIEW IF NOT EXISTS previous AS
SELECT * FROM snapshots
WHERE (host, volume, root, publication) GLOBAL IN (
    SELECT host, volume, root, max(publication) FROM snapshots
    WHERE complete = 1
        AND (host, volume, root, snapshot) GLOBAL NOT IN (SELECT host, volume, root, snapshot FROM current_whole)
    GROUP BY host, volume, root
);

-- Every item of what holds; with the conditions that are asked most as columns.
CREATE VIEW IF NOT EXISTS current_files AS
SELECT
    host, volume, if(bitAnd(flags, 128) != 0, name, concat(if(dir = '/', '', toString(dir)), '/', name)) AS path,
    dir, name, extension, kind, size, allocated, display,
    bitAnd(flags, 16) != 0 AS has_date, toDateTime(toInt64(modified) + 978307200) AS changed,
    bitAnd(flags, 1) != 0 AS hidden, bitAnd(flags, 4) != 0 AS further_link, device, inode, links, risk
FROM files
WHERE (host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current);

CREATE VIEW IF NOT EXISTS current_folders AS
SELECT * FROM folders
WHERE (host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current);

-- The folders of the fleet, for ORDER BY bytes DESC LIMIT 20. A folder counts in all that hold it.
CREATE VIEW IF NOT EXISTS largest_folders AS
SELECT host, volume, path, parent, depth, items, files, bytes, newest FROM current_folders;

-- How the folders of hosts have changed from one whole scan to the next. Only of what has been published twice.
CREATE VIEW IF NOT EXISTS growth AS
SELECT host, volume, path, min(level) AS depth, sum(was) AS bytes_before, sum(is_now) AS bytes_now,
    sum(is_now) - sum(was) AS bytes_change, max(in_now) AS exists_now, max(in_before) AS existed_before
FROM (
    SELECT host, volume, path, depth AS level, toInt64(0) AS was, bytes AS is_now, 1 AS in_now, 0 AS in_before
    FROM folders
    WHERE (host, volume, publication) GLOBAL IN (
        SELECT host, volume, publication FROM current_whole
        WHERE (host, volume, root) GLOBAL IN (SELECT host, volume, root FROM previous))
    UNION ALL
    SELECT host, volume, path, depth AS level, bytes AS was, toInt64(0) AS is_now, 0 AS in_now, 1 AS in_before
    FROM folders
    WHERE (host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM previous)
)
GROUP BY host, volume, path;

-- Files of 100 MB and more, for ORDER BY changed LIMIT 20. Where they were published with --files, as in the next view.
CREATE VIEW IF NOT EXISTS oldest_large_files AS
SELECT host, volume, path, allocated AS bytes, changed FROM current_files
WHERE kind = 'file' AND allocated >= 100000000 AND has_date AND NOT further_link;

-- Files of 1 MB and more that have the same name and size on several hosts; whether their content is the same, nobody
-- has looked.
CREATE VIEW IF NOT EXISTS same_files AS
SELECT name, size, uniqExact(host) AS hosts, count() AS copies, sum(allocated) AS bytes
FROM files
WHERE kind = 'file' AND size >= 1000000 AND bitAnd(flags, 4) = 0
    AND (host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current)
GROUP BY name, size
HAVING hosts > 1;

-- What the suggestions would free, rule by rule.
CREATE VIEW IF NOT EXISTS reclaimable AS
SELECT rule, any(title) AS about, any(certainty) AS how_sure, uniqExact(host) AS hosts, sum(items) AS all_items,
    sum(bytes) AS all_bytes
FROM suggestions
WHERE (host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current)
GROUP BY rule;

-- The hosts, and how old what is known of them is.
CREATE VIEW IF NOT EXISTS hosts AS
SELECT host, uniqExact(volume) AS volumes, min(completed) AS oldest_scan, max(published) AS last_published,
    sum(items) AS all_items, sum(bytes) AS all_bytes, sum(issues) AS all_issues, min(complete) AS all_complete,
    min(has_files) AS all_files
FROM current
GROUP BY host;
