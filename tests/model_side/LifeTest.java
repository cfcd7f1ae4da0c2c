import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import com.zelvox.qorbetta.ZelvoxSim;
import java.util.concurrent.Callable;
import java.util.stream.Stream;
import org.junit.After;
import org.junit.Before;
import org.junit.Test;

/** What a model may rely on in its life, and what its importer is told when something goes wrong. */
public class LifeTest {
    private static final String NEW = "new a => 1 describe";
    private static final String SET_UP = "setUp a 0";
    private static final String INIT = "init a => " + begin(1, 2, 1, "3.0, -1.0");
    private static final String STEP =
            "step a 0 1 => 1 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = 7.0 0.25";
    /** The initialization of a new run, for which a new object is made. */
    private static final String INIT_2 = INIT.replace("=> ", "=> 1 free; ").replaceAll("1 (set|setUp|init)", "2 $1");
    private static final String START = "data a => = 0.5 0.25 0.5 0.25 3.0 -1.0 2.0 1.0";
    private static final String GAIN = "instance 'a': parameter gain [V] cannot be ";
    private static final String TWINS = " (do two instances share this name?)";
    private static final String WAITS = " = NULL ! there is an instance 'a' already that has not"
            + " begun: give each instance a name of its own";
    private static final String RUNS = " = NULL ! there is an instance 'a' already that is running:"
            + " give each instance a name of its own, or terminate that one first; what an interrupted"
            + " run has left behind in Python, zelvox.forget_instances() frees";

    private final ZelvoxSim sim = ZelvoxSim.create();

    /** What an object gets when it is brought to its state at the start time. */
    private static String begin(int number, double gain, double mode, String inputs) {
        return String.format("%1$d set gain %2$s; %1$d set mode %3$s; %1$d setUp 0.0 NaN;"
                + " %1$d initialize [%4$s] [0.5, 0.25]", number, gain, mode, inputs);
    }

    /** The same of a fresh object, for which the used one goes. */
    private static String anew(int number, double gain, double mode, String inputs) {
        return number - 1 + " free; " + begin(number, gain, mode, inputs);
    }

    private static String[] lines(Object... parts) {
        return Stream.of(parts).flatMap(part -> part instanceof String[] ? Stream.of((String[]) part)
                : Stream.of((String) part)).toArray(String[]::new);
    }

    @Before
    @After
    public void nothingIsLeft() {
        Recorder.forget();
        Stream.of("a", "b").forEach(sim::doFreeInstance);
        Recorder.forget();
    }

    @Test
    public void callsComeOnceInOrderAndWithTheirArguments() {
        Script.play(
                NEW,
                "setUp a 1 9",
                "init a => 1 set gain 2.0; 1 set mode 1.0; 1 setUp 1.0 9.0;"
                        + " 1 initialize [3.0, -1.0] [0.5, 0.25]",
                "data a => = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 1.0",
                "step a 1 0.5 => 1 step 1.0 0.5 [3.0, -1.0] [6.0, 0.25] = 7.5 0.25",
                "step a 1.5 2 => 1 step 1.5 2.0 [3.0, -1.0] [7.5, 0.25] = 9.5 0.25",
                "data a => = 9.5 0.25",
                "end a => 1 terminate",
                "end a",
                "data a => = 9.5 0.25",
                "free a => 1 free",
                "free a");
    }

    @Test
    public void experimentMayBeSetUpAgainOrNotAtAll() {
        Script.play(
                NEW, SET_UP,
                "setUp a -2 3",
                INIT.replace("setUp 0.0 NaN", "setUp -2.0 3.0"),
                "step a -2 1 => 1 step -2.0 1.0 [3.0, -1.0] [6.0, 0.25] = 5.0 0.25",
                "free a => 1 free",
                "new b => 2 describe",
                "end b",
                "init b => " + begin(2, 2, 1, "3.0, -1.0"),
                "step b 0 1 => 2 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = 7.0 0.25");
    }

    @Test
    public void valuesReachTheModelBeforeItIsSetUpAndFromThenOnWhenTheyAreSet() {
        Script.play(
                NEW,
                "set a 4 4.5",
                "set a 6 4",
                "set a 1 9",
                "set a 2 9",
                SET_UP,
                "set a 7 5",
                "set a 7 3",
                "init a => " + begin(1, 4, 3, "4.5, -1.0"),
                "set a 5 8",
                "set a 6 1 => 1 set gain 1.0",
                "data a => = 18.0 0.25 18.0 0.25 4.5 8.0 1.0 3.0",
                "step a 0 1 => 1 step 0.0 1.0 [4.5, 8.0] [18.0, 0.25] = 5.5 0.25",
                "set a 6 10 => 1 set gain 10.0",
                "step a 1 1 => 1 step 1.0 1.0 [4.5, 8.0] [5.5, 0.25] = 47.0 0.25",
                "end a => 1 terminate",
                "set a 6 3");
    }

    @Test
    public void whatIsReadBeforeTheInitializationIsWhatItWillGive() {
        String first = "data a => " + begin(1, 2, 1, "3.0, -1.0") + " = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 1.0";
        Script.play(
                NEW, SET_UP, first,
                "data a => = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 1.0",
                "set a 6 2", // as it is
                "set a 0 9", // outputs are the model's to say
                "init a", // nothing changed: the object goes on
                STEP,
                "end a => 1 terminate",
                "free a => 1 free");
        nothingIsLeft();
        Script.play(
                NEW, SET_UP, first,
                "set a 4 4",
                "data a => " + anew(2, 2, 1, "4.0, -1.0") + " = 8.0 0.25 8.0 0.25 4.0 -1.0 2.0 1.0",
                "set a 6 3",
                "set a 5 0",
                "init a => " + anew(3, 3, 1, "4.0, 0.0"),
                "data a => = 12.0 0.25 12.0 0.25 4.0 0.0 3.0 1.0",
                "step a 0 1 => 3 step 0.0 1.0 [4.0, 0.0] [12.0, 0.25] = 13.0 0.25");
        nothingIsLeft();
        Script.play( // an experiment that is set up after a read can only follow a reset
                NEW, "set a 4 4", SET_UP,
                "data a => " + begin(1, 2, 1, "4.0, -1.0") + " = 8.0 0.25 8.0 0.25 4.0 -1.0 2.0 1.0",
                "set a 7 5",
                SET_UP,
                "data a => " + anew(2, 2, 5, "3.0, -1.0") + " = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 5.0",
                "setUp a 0",
                "init a => " + anew(3, 2, 1, "3.0, -1.0"),
                "free a => 3 free");
        nothingIsLeft();
        Script.play(NEW, first, "free a => 1 free"); // given up
    }

    @Test
    public void whatCannotBeInitializedYetIsNoFailureOfARead() {
        String refused = " = error ! instance 'a': the model cannot be ";
        for (String call : new String[] {"setUp", "initialize", "set"}) {
            nothingIsLeft();
            String one = begin(1, 2, 1, "3.0, -1.0"), two = anew(2, 2, 1, "3.0, -1.0"), four = anew(4, 3, 1, "3.0, -1.0");
            String reason = call.equals("setUp") ? refused + "set up at time 0.0: no" : call.equals("initialize")
                    ? refused + "initialized at time 0.0: no" : " = error ! " + GAIN + "2.0: no";
            String until = call.equals("setUp") ? ";[^;]*$" : call.equals("initialize") ? "$" : "; . set mode.*";
            Script.play(
                    NEW, SET_UP, "fail " + call + " no",
                    START.replace("=> ", "=> " + one.replaceFirst(until, "") + " "),
                    START, // with the same values it is not tried for a read again
                    "init a => " + two.replaceFirst(until, "") + reason,
                    "fail " + call,
                    "set a 6 4",
                    "data a => " + anew(3, 4, 1, "3.0, -1.0") + " = 12.0 0.25 12.0 0.25 3.0 -1.0 4.0 1.0",
                    "set a 6 3",
                    "init a => " + four,
                    "data a => = 9.0 0.25 9.0 0.25 3.0 -1.0 3.0 1.0");
        }
    }

    /** An importer that has read start values, and sets nothing, does not read again. */
    @Test
    public void outputsThatTheImporterHoldsAreNotReplacedWithoutAWord() {
        String late = " = error ! instance 'a': the model can be initialized at time 0.0 only now, after the"
                + " importer has read its outputs; expected a reset, or a value to be set";
        Script.play(
                NEW, SET_UP, "fail initialize no",
                START.replace("=> ", "=> " + begin(1, 2, 1, "3.0, -1.0") + " "),
                "fail initialize",
                "init a => " + anew(2, 2, 1, "3.0, -1.0") + late,
                "init a =>" + late,
                "set a 6 2",
                "init a");
        nothingIsLeft();
        Script.play(
                NEW, SET_UP, "fail initialize no",
                START.replace("=> ", "=> " + begin(1, 2, 1, "3.0, -1.0") + " "),
                "fail initialize",
                SET_UP, // after a reset all is read again
                "init a => " + anew(2, 2, 1, "3.0, -1.0"));
        nothingIsLeft();
        Script.play(
                NEW, SET_UP, "fail initialize no", "set a 4 0.25", // whose output is the start value
                "data a => " + begin(1, 2, 1, "0.25, -1.0") + " = 0.5 0.25 0.5 0.25 0.25 -1.0 2.0 1.0",
                "fail initialize",
                "init a => " + anew(2, 2, 1, "0.25, -1.0"));
    }

    @Test
    public void newRunHasNewModelAndStartValuesButForWhatWasSetSinceTheLastCall() {
        String[] first = {NEW, SET_UP, "set a 4 4", "set a 6 4", "init a => " + begin(1, 4, 1, "4.0, -1.0")};
        String step = "step a 0 1 => 1 step 0.0 1.0 [4.0, -1.0] [16.0, 0.25] = 17.0 0.25";
        String gain = "set a 6 5 => 1 set gain 5.0";
        String end = "end a => 1 terminate";
        String[] second = {SET_UP, INIT_2, STEP.replace("1 step", "2 step")};
        Object[][] runs = {
            {first, second},
            {first, gain, step.replace("17.0", "21.0"), second},
            {first, step, gain, end, second},
            {first, step, gain, "fail step no", "step a 1 1 => 1 step 1.0 1.0 [4.0, -1.0] [17.0, 0.25]"
                + " = error ! instance 'a': the model cannot step from time 1.0 by 1.0: no",
                "fail step", second},
            {first, step, end, "set a 4 1", "set a 7 6", SET_UP,
                "data a => " + anew(2, 2, 6, "1.0, -1.0") + " = 2.0 0.25 2.0 0.25 1.0 -1.0 2.0 6.0",
                "init a",
                "set a 6 3 => 2 set gain 3.0",
                SET_UP,
                "init a => " + anew(3, 3, 1, "3.0, -1.0"),
                "free a => 3 free"},
        };
        for (Object[] run : runs) {
            nothingIsLeft();
            Script.play(lines(run));
        }
    }

    @Test
    public void refusedValueFailsTheInitializationAndTheNextStep() {
        String again = "init a => 1 free = error ! " + GAIN;
        Script.play(
                NEW,
                "set a 6 11",
                "set a 6 10", // what stands in the end counts
                SET_UP,
                "init a => " + begin(1, 10, 1, "3.0, -1.0"));
        nothingIsLeft();
        Script.play(
                NEW, "set a 6 10.1", SET_UP,
                "init a => = error ! " + GAIN + "10.1, expected 1.0 to 10.0",
                "step a 0 1 => = error ! instance 'a': step at time 0.0 before the initialization,"
                        + " expected the initialization first" + TWINS,
                "set a 6 0.9",
                again + "0.9, expected 1.0 to 10.0",
                "set a 6 7",
                "init a => 2 free; 3 set gain 7.0 = error ! " + GAIN + "7.0: seven is taken",
                "set a 6 NaN",
                "init a => 3 free = error ! " + GAIN + "NaN, expected 1.0 to 10.0",
                "set a 6 2",
                "set a 8 1",
                SET_UP,
                "init a => = error ! instance 'a': there is no value reference 8, expected one below 8",
                "set a -1 1",
                "init a => = error ! instance 'a': there is no value reference 4294967295,"
                        + " expected one below 8",
                "init a => 4 free; " + begin(5, 2, 1, "3.0, -1.0"));
        nothingIsLeft();
        Script.play(
                NEW, SET_UP, INIT,
                "set a 6 11",
                "set a 6 5 => 1 set gain 5.0",
                "step a 0 1 => = error ! " + GAIN + "11.0, expected 1.0 to 10.0",
                "step a 0 1 => = error ! instance 'a': step at time 0.0 after the end of the run,"
                        + " expected a reset before" + TWINS,
                "end a",
                SET_UP, INIT_2,
                "set a 6 11",
                "set a 6 5 => 2 set gain 5.0",
                SET_UP,
                "init a => " + anew(3, 5, 1, "3.0, -1.0"),
                "set a 6 11",
                SET_UP,
                "init a => 3 free = error ! " + GAIN + "11.0, expected 1.0 to 10.0");
    }

    @Test
    public void failureSaysWhatWhenAndWhyAndTheRunIsOver() {
        String over = " after the end of the run, expected a reset before" + TWINS;
        String stuck = " ? zelvox: instance 'a': the model cannot be freed: stuck fast";
        Script.play(
                "fail describe who am I",
                "new a => 1 describe; 1 free = NULL ! instance 'a': the model cannot be described: who am I",
                "fail describe",
                NEW.replace("1 ", "2 "),
                "setUp a 5",
                "fail setUp too long",
                "init a => 2 set gain 2.0; 2 set mode 1.0; 2 setUp 5.0 NaN = error ! instance 'a': the"
                        + " model cannot be set up at time 5.0: too long",
                "end a",
                "fail setUp",
                "fail make not twice",
                "init a => = error ! instance 'a': the model cannot be constructed: not twice",
                "fail make",
                "fail free stuck\n\tfast",
                "init a => " + anew(3, 2, 1, "3.0, -1.0").replace("0.0 NaN", "5.0 NaN") + stuck,
                "setUp a 0",
                "init a => " + anew(4, 2, 1, "3.0, -1.0") + stuck,
                "fail step broken",
                "step a 0 1 => 4 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = error ! instance 'a': the"
                        + " model cannot step from time 0.0 by 1.0: broken",
                "fail step",
                "step a 0 1 => = error ! instance 'a': step at time 0.0" + over,
                "end a",
                "setUp a 0",
                "init a => " + anew(5, 2, 1, "3.0, -1.0") + stuck,
                "step a 0 1 => 5 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = 7.0 0.25",
                "fail terminate not now",
                "end a => 5 terminate ? zelvox: instance 'a': the model cannot be terminated at time 1.0: not now",
                "step a 1 1 => = error ! instance 'a': step at time 1.0" + over,
                "free a => 5 free" + stuck,
                "free a");
        Recorder.happenings.put("no description", () -> null);
        Script.play("new a => 6 describe; 6 free = NULL ! instance 'a': the model cannot be described: it"
                + " answers null, expected a description" + stuck);
    }

    @Test
    public void reasonIsTheMessageOrTellsMoreWhereThatSaysLittle() {
        reason("no oil", () -> { throw new IllegalStateException("no oil"); });
        reason("no oil", () -> { throw new IllegalArgumentException("no oil"); });
        reason("Java heap space", () -> { throw new OutOfMemoryError("Java heap space"); });
        reason("java.lang.Exception at LifeTest\\..*", () -> { throw new Exception(); });
        reason("java.lang.ArrayIndexOutOfBoundsException: .*3.* at LifeTest\\..*LifeTest.java:\\d+\\)",
                () -> "".split(",")[3]);
        reason("java.lang.NoClassDefFoundError: a/B", () -> { throw new NoClassDefFoundError("a/B"); });
        reason("java.lang.ExceptionInInitializerError: no table",
                () -> { throw new ExceptionInInitializerError(new Exception("no table")); });
    }

    private void reason(String expected, Callable<?> happening) {
        nothingIsLeft();
        Script.play(NEW, SET_UP);
        Recorder.happenings.put("initialize", happening);
        assertFalse(sim.doInitializeModel("a"));
        assertTrue(sim.getLasterror(), sim.getLasterror().matches(
                "instance 'a': the model cannot be initialized at time 0\\.0: " + expected));
    }

    @Test
    public void callsOutOfOrderAreRefusedAndTheRunGoesOn() {
        String size = " at time 1.0, expected a finite one above 0";
        Script.play(
                NEW, SET_UP,
                "step a 0 1 => = error ! instance 'a': step at time 0.0 before the initialization,"
                        + " expected the initialization first" + TWINS,
                INIT,
                "init a => = error ! instance 'a': initialized a second time, expected a reset and an"
                        + " experiment setup before" + TWINS,
                "step a 1 1 => = error ! instance 'a': step at time 1.0, expected one at time 0.0,"
                        + " where the run starts" + TWINS,
                STEP,
                "step a 0 1 => = error ! instance 'a': step at time 0.0, expected one at time 1.0,"
                        + " where the last step ended" + TWINS,
                "step a 1 0 => = error ! instance 'a': step size 0.0" + size,
                "step a 1 -1 => = error ! instance 'a': step size -1.0" + size,
                "step a 1 NaN => = error ! instance 'a': step size NaN" + size,
                "step a 1 Infinity => = error ! instance 'a': step size Infinity" + size);
        assertFalse(sim.doStepModel("a", 1, 1, new double[3]));
        assertEquals("instance 'a': step at time 1.0 with 3 inputs, expected 2: [u, v]", sim.getLasterror());
        assertTrue(sim.doStepModel("a", 1, 1, new double[2]));
    }

    @Test
    public void stepContinuesWhereTheLastOneEndedButForRounding() {
        double[][] steps = { // where the run starts, the size of its steps, how far off the next one is
            {0, 0.1, 0.99e-7}, {0, 0.1, -0.99e-7}, {0, 1e6, 0.99}, {1.7e9, 1e-3, 9.5e-7}, {1.7e9, 1e-3, -9.5e-7},
        };
        for (double[] step : steps) {
            for (double factor : new double[] {1, 1.3, -1.3, Double.NaN, Double.POSITIVE_INFINITY}) {
                nothingIsLeft();
                assertTrue(sim.doInstantiate("a", "") && sim.doSetupExperiment("a", step[0], false, 0)
                        && sim.doInitializeModel("a"));
                assertTrue(sim.doStepModel("a", step[0], step[1], new double[2]));
                double time = step[0] + step[1] + factor * step[2];
                assertEquals(time + " after " + step[0], factor == 1,
                        sim.doStepModel("a", time, step[1], new double[2]));
            }
        }
    }

    @Test
    public void stepsOfAMillisecondGoOnAtATimeOfToday() {
        Script.play(NEW, "setUp a 1.7e9", INIT.replace("setUp 0.0", "setUp 1.7E9"));
        for (int i = 0; i < 300_000; i++) {
            Recorder.calls.clear();
            assertTrue(sim.getLasterror(), sim.doStepModel("a", 1.7e9 + i * 1e-3, 1e-3, new double[2]));
        }
    }

    @Test
    public void nameIsTakenFromNoInstanceThatLives() {
        Script.play(
                NEW,
                "new a =>" + WAITS,
                SET_UP,
                "data a => " + begin(1, 2, 1, "3.0, -1.0") + " = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 1.0",
                "fail describe no",
                "new a => 2 describe; 2 free = NULL ! instance 'a': the model cannot be described: no",
                "fail describe",
                "init a",
                "new a =>" + RUNS,
                STEP,
                "new a =>" + RUNS,
                "step a 1 1 => 1 step 1.0 1.0 [3.0, -1.0] [7.0, 0.25] = 8.0 0.25",
                "end a => 1 terminate",
                "new a => 3 describe; 1 free", // it ran to its end
                "new a =>" + WAITS,
                SET_UP,
                "new a => 4 describe; 3 free", // it never began
                "init a => " + begin(4, 2, 1, "3.0, -1.0"),
                "fail step no",
                "step a 0 1 => 4 step 0.0 1.0 [3.0, -1.0] [6.0, 0.25] = error ! instance 'a': the"
                        + " model cannot step from time 0.0 by 1.0: no",
                "new a => 5 describe; 4 free", // it failed
                "data a => " + begin(5, 2, 1, "3.0, -1.0") + " = 6.0 0.25 6.0 0.25 3.0 -1.0 2.0 1.0",
                "new a => 6 describe; 5 free"); // it began without an experiment
        nothingIsLeft();
        Callable<?> twin = () -> { // it comes while the model is made
            Recorder.happenings.clear();
            return sim.doInstantiate("a", "");
        };
        Recorder.happenings.put("describe", twin);
        Script.play("new a => 1 describe; 2 describe; 1 free" + WAITS, "init a => " + begin(2, 2, 1, "3.0, -1.0"),
                "end a => 2 terminate");
        Recorder.happenings.put("describe", twin);
        Script.play("new a => 3 describe; 4 describe; 2 free; 3 free" + WAITS, SET_UP);
        Recorder.happenings.put("describe", () -> sim.doInitializeModel("a")); // the old one goes on meanwhile
        Script.play("new a => 5 describe; " + begin(4, 2, 1, "3.0, -1.0") + "; 5 free" + RUNS);
    }

    @Test
    public void forgottenInstancesGiveTheirNamesBack() {
        Script.play(NEW, "new b => 2 describe", INIT);
        assertEquals(2, ZelvoxSim.forgetInstances());
        assertTrue(Recorder.calls.toString(), Recorder.calls.contains("1 free") && Recorder.calls.contains("2 free"));
        assertEquals(0, ZelvoxSim.forgetInstances());
        Script.play("new a => 3 describe", "new b => 4 describe");
    }

    @Test
    public void nameThatNobodyHasIsTold() {
        String unknown = "there is no instance 'c', expected one that was instantiated and not freed";
        Script.play(
                NEW,
                "setUp c 0 => = error ! " + unknown,
                "init c => = error ! " + unknown,
                "end c => ! " + unknown,
                "free c");
        assertFalse(sim.doStepModel("c", 0, 1, new double[0]));
        assertEquals(unknown, sim.getLasterror());
        assertNull(sim.getData("c"));
        assertEquals(unknown, assertThrows(IllegalStateException.class, () -> sim.setReal("c", 4, 1)).getMessage());
        assertEquals("", sim.getProp("c", "number_of_reals") + sim.getProp("a", "number_of_integers"));
    }
}
