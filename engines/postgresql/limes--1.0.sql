\echo Use "CREATE EXTENSION limes" to load this file. \quit

-- What was learnt: the bytes of a state, checked wherever they come from.
CREATE TYPE limes_state;
CREATE FUNCTION limes_state_in(cstring) RETURNS limes_state
  AS 'MODULE_PATHNAME', 'pg_limes_in' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION limes_state_out(limes_state) RETURNS cstring
  AS 'byteaout' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION limes_state_recv(internal) RETURNS limes_state
  AS 'MODULE_PATHNAME', 'pg_limes_recv' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION limes_state_send(limes_state) RETURNS bytea
  AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE limes_state (INPUT = limes_state_in, OUTPUT = limes_state_out,
  RECEIVE = limes_state_recv, SEND = limes_state_send,
  INTERNALLENGTH = VARIABLE, ALIGNMENT = int4, STORAGE = external);
CREATE FUNCTION limes_state(bytea) RETURNS limes_state
  AS 'MODULE_PATHNAME', 'pg_limes_check' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
CREATE CAST (bytea AS limes_state) WITH FUNCTION limes_state(bytea) AS ASSIGNMENT;
CREATE CAST (limes_state AS bytea) WITHOUT FUNCTION AS ASSIGNMENT;

-- Steps of the aggregates.
CREATE FUNCTION limes_learn_step(internal, real[], text) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_learn_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_learn_step(internal, real[], text, text) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_learn_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_learn_step(internal, double precision[], text) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_learn_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_learn_step(internal, double precision[], text, text) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_learn_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_learn_step(internal, double precision, text) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_learn_value_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_learn_step(internal, double precision, text, text) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_learn_value_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_merge_step(internal, limes_state) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_merge_step' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_final(internal) RETURNS limes_state
  AS 'MODULE_PATHNAME', 'pg_limes_final' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_combine(internal, internal) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_combine' LANGUAGE c IMMUTABLE PARALLEL SAFE;
CREATE FUNCTION limes_serial(internal) RETURNS bytea
  AS 'MODULE_PATHNAME', 'pg_limes_final' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION limes_deserial(bytea, internal) RETURNS internal
  AS 'MODULE_PATHNAME', 'pg_limes_deserial' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;

-- Learns parts: values, grid ("dx=10 x_unit=Hz unit=dB"), rule ("sides=upper reject=0.01").
CREATE AGGREGATE limes_learn(part real[], grid text) (
  SFUNC = limes_learn_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);
CREATE AGGREGATE limes_learn(part real[], grid text, rule text) (
  SFUNC = limes_learn_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);
CREATE AGGREGATE limes_learn(part double precision[], grid text) (
  SFUNC = limes_learn_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);
CREATE AGGREGATE limes_learn(part double precision[], grid text, rule text) (
  SFUNC = limes_learn_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);
CREATE AGGREGATE limes_learn(part double precision, grid text) (
  SFUNC = limes_learn_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);
CREATE AGGREGATE limes_learn(part double precision, grid text, rule text) (
  SFUNC = limes_learn_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);
CREATE AGGREGATE limes_merge(limes_state) (
  SFUNC = limes_merge_step, STYPE = internal, SSPACE = 65536, FINALFUNC = limes_final,
  COMBINEFUNC = limes_combine, SERIALFUNC = limes_serial, DESERIALFUNC = limes_deserial,
  PARALLEL = safe);

-- Judges a part. Of two sides the one that is worse is told; the numbers are NULL, and the reason is
-- given, where nothing was judged.
CREATE TYPE limes_judgement AS (verdict text, side text, excess double precision,
  x double precision, value double precision, "limit" double precision, mean double precision,
  spread double precision, share double precision, reason text);
CREATE FUNCTION limes_judge(state limes_state, part real[], grid text) RETURNS limes_judgement
  AS 'MODULE_PATHNAME', 'pg_limes_judge' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION limes_judge(state limes_state, part double precision[], grid text)
  RETURNS limes_judgement
  AS 'MODULE_PATHNAME', 'pg_limes_judge' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION limes_judge(state limes_state, part double precision, grid text)
  RETURNS limes_judgement
  AS 'MODULE_PATHNAME', 'pg_limes_judge_value' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;

-- Mean, spread and limits along x; NULL where there is no limit.
CREATE FUNCTION limes_limit(state limes_state)
  RETURNS TABLE (x double precision, mean double precision, spread double precision,
    lower double precision, upper double precision)
  AS 'MODULE_PATHNAME', 'pg_limes_limit' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;

-- Number of parts learnt.
CREATE FUNCTION limes_learnt(state limes_state) RETURNS bigint
  AS 'MODULE_PATHNAME', 'pg_limes_learnt' LANGUAGE c IMMUTABLE STRICT PARALLEL SAFE;
