\echo Use "ALTER EXTENSION limes UPDATE TO '1.1'" to load this file. \quit

-- What a state is of, and what its limit promises: of further good parts a share (promised, with the
-- 95 % interval of the rate reached) is rejected. NULL with a given factor, and with too few parts.
CREATE FUNCTION limes_info(state limes_state, OUT kind text, OUT learnt bigint, OUT scores bigint,
    OUT promised double precision, OUT low double precision, OUT high double precision,
    OUT factor_upper double precision, OUT factor_lower double precision)
  AS 'MODULE_PATHNAME', 'pg_limes_info' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
